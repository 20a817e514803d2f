#include "platform/URLSession.h"

#include <algorithm>

namespace {
bool sameName(const QByteArray& a, const QByteArray& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

QByteArray valueOf(const HTTPHeaders& headers, const QByteArray& name) {
    const auto found =
        std::find_if(headers.begin(), headers.end(), [&](const auto& entry) { return sameName(entry.first, name); });
    return found == headers.end() ? QByteArray() : found->second;
}
} // namespace

QByteArray URLRequest::header(const QByteArray& name) const {
    return valueOf(headers, name);
}

QByteArray URLResponse::header(const QByteArray& name) const {
    return valueOf(headers, name);
}

void URLRequest::setHeader(const QByteArray& name, const QByteArray& value) {
    const auto found =
        std::find_if(headers.begin(), headers.end(), [&](const auto& entry) { return sameName(entry.first, name); });
    if (found == headers.end())
        headers.emplace_back(name, value);
    else
        found->second = value;
}

URLError::URLError(Code code, QString description)
    : code_(code)
    , description_(std::move(description))
    , utf8_(description_.toUtf8()) {}

bool URLError::isOffline() const {
    switch (code_) {
    case Code::notConnectedToInternet:
    case Code::networkConnectionLost:
    case Code::cannotConnectToHost:
    case Code::cannotFindHost:
    case Code::dnsLookupFailed:
    case Code::dataNotAllowed:
    case Code::insecureConnection:
        return true;
    case Code::timedOut:
    case Code::cancelled:
    case Code::other:
        return false;
    }
    return false;
}

Task<URLResponse> URLSession::exchange(URLRequest request) {
    Completion<Result> arrived(Executor::current());
    send(std::move(request), [arrived](Result result) { arrived.complete(std::move(result)); });
    Result result = co_await arrived;
    if (const auto* error = std::get_if<URLError>(&result))
        throw *error;
    co_return std::move(std::get<URLResponse>(result));
}

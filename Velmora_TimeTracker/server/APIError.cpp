#include "server/APIError.h"

using namespace Qt::StringLiterals;

APIError::APIError(Kind kind, int statusCode, std::optional<URLError> underlying)
    : kind_(kind)
    , statusCode_(statusCode)
    , underlying_(std::move(underlying))
    , description_(localizedDescription().toUtf8()) {}

APIError APIError::serverError(int statusCode, const QByteArray& retryAfter) {
    APIError error(Kind::serverError, statusCode, std::nullopt);
    error.retryAfter_ = retryAfter;
    return error;
}
APIError APIError::network(const URLError& underlying) {
    return APIError(Kind::network, 0, underlying);
}
APIError APIError::invalidURL() {
    return APIError(Kind::invalidURL, 0, std::nullopt);
}
APIError APIError::unauthorized() {
    return APIError(Kind::unauthorized, 0, std::nullopt);
}
APIError APIError::decodingFailed() {
    return APIError(Kind::decodingFailed, 0, std::nullopt);
}

QString APIError::localizedDescription() const {
    switch (kind_) {
    case Kind::serverError:
        return u"The server answered with status %1."_s.arg(statusCode_);
    case Kind::network:
        return underlying_->localizedDescription();
    case Kind::invalidURL:
        return u"The address of the request is not valid."_s;
    case Kind::unauthorized:
        return u"The server does not accept the sign-in."_s;
    case Kind::decodingFailed:
        return u"The server's answer could not be read."_s;
    }
    return {};
}

#include "upload/UploadTransport.h"

#include "model/Json.h"
#include "platform/Log.h"
#include "server/APIEndpoints.h"
#include "server/APIError.h"
#include "server/LogRedactor.h"
#include "server/RequestTokens.h"

#include <QJsonDocument>
#include <QStringDecoder>

namespace {

constexpr int maxLoggedCharacters = 2000;
constexpr int maxErrorTextCharacters = 500;

QByteArray bearer(const QString& accessToken) {
    return "Bearer " + accessToken.toUtf8();
}

QByteArray pathOf(const URLRequest& request) {
    return request.url.path().toUtf8();
}

void logRequest(const URLRequest& request) {
    if (request.header("Content-Type").contains("application/json") && !request.body.isEmpty())
        qCInfo(Log::upload, "API request: %s %s\nPayload: %s", request.method.constData(), pathOf(request).constData(),
               qUtf8Printable(LogRedactor::stringifyJSONorText(request.body, maxLoggedCharacters)));
    else
        qCInfo(Log::upload, "API request: %s %s", request.method.constData(), pathOf(request).constData());
}

/// What an error body says, with secrets removed.
QString errorText(const QByteArray& body) {
    const auto reply = Json::object(body);
    if (const auto message = reply ? Json::string(*reply, "message") : std::nullopt)
        return LogRedactor::redact(*message);
    const QJsonValue errors = reply ? reply->value("errors") : QJsonValue();
    if (errors.isArray() || errors.isObject())
        return LogRedactor::stringifyJSONorText(
            QJsonDocument::fromVariant(errors.toVariant()).toJson(QJsonDocument::Compact), maxLoggedCharacters);
    if (!errors.isNull() && !errors.isUndefined())
        return LogRedactor::redact(errors.toVariant().toString());
    QStringDecoder decode(QStringDecoder::Utf8);
    const QString text = decode(body);
    if (!decode.hasError() && text.size() <= maxErrorTextCharacters)
        return LogRedactor::redact(text);
    return LogRedactor::stringifyJSONorText(body, maxLoggedCharacters);
}

void logResponseBodyIfError(int status, const QByteArray& path, const QByteArray& body) {
    if (!body.isEmpty())
        qCCritical(Log::upload, "API error %d %s: %s", status, path.constData(), qUtf8Printable(errorText(body)));
}

/// What a captive portal answers with in the place of the server. Some servers label any answer as a page, so a JSON
/// object is none.
bool isWebPage(const URLResponse& response) {
    return response.body.trimmed().startsWith('<') ||
           (response.header("Content-Type").toLower().contains("html") && !Json::object(response.body));
}

} // namespace

UploadTransport::UploadTransport(URLSession& session, const APIEndpoints& endpoints, KeychainService& keychain,
                                 Refresh refresh)
    : session_(session)
    , endpoints_(endpoints)
    , keychain_(keychain)
    , refresh_(std::move(refresh)) {}

URLRequest UploadTransport::makeRequest(const QString& path, const QByteArray& method, const QByteArray& contentType) {
    URLRequest request;
    request.url = endpoints_.url(path);
    request.method = method;
    request.timeout = timeout;
    request.headers = {{"app-client", "ios"}, {"Content-Type", contentType}, {"Accept", "application/json"}};
    const auto tokens = requestTokens(keychain_);
    if (!tokens)
        throw URLError(URLError::Code::dataNotAllowed, "Nobody is signed in.");
    request.setHeader("Authorization", bearer(tokens->accessToken));
    return request;
}

Task<URLResponse> UploadTransport::exchange(URLRequest request) {
    try {
        co_return co_await session_.exchange(request);
    } catch (const URLError& error) {
        qCCritical(Log::upload, "API request failed: %s %s - %s", request.method.constData(),
                   pathOf(request).constData(), qUtf8Printable(error.localizedDescription()));
        throw;
    }
}

Task<QByteArray> UploadTransport::executeRequest(URLRequest request, bool allowRetryAfterRefresh) {
    const QString origin = endpoints_.origin();
    logRequest(request);
    const URLResponse response = co_await exchange(request);
    const int status = response.statusCode.value_or(-1);
    if (!response.statusCode)
        throw APIError::serverError(status);
    const QByteArray path = pathOf(request);
    qCInfo(Log::upload, "API response: %s %s -> %d", request.method.constData(), path.constData(), status);
    if (status >= 200 && status <= 299) {
        if (isWebPage(response))
            throw URLError(URLError::Code::other, "A web page came instead of the server's answer.");
        co_return response.body;
    }

    logResponseBodyIfError(status, path, response.body);
    if (status != 401)
        throw APIError::serverError(status, response.header("Retry-After"));
    if (!allowRetryAfterRefresh)
        throw APIError::unauthorized();
    const std::optional<QString> accessToken = co_await refresh_();
    if (!accessToken)
        throw URLError(URLError::Code::other, "The sign-in could not be refreshed.");
    if (endpoints_.origin() != origin)
        throw URLError(URLError::Code::other, "The company was left meanwhile.");
    request.setHeader("Authorization", bearer(*accessToken));
    co_return co_await executeRequest(request, false);
}

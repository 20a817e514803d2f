#include "server/APIClient.h"

#include "platform/Log.h"
#include "server/APIEndpoints.h"
#include "server/BackendSnackbarReporter.h"
#include "server/LogRedactor.h"
#include "server/RequestTokens.h"
#include "storage/KeychainService.h"

using namespace Qt::StringLiterals;

namespace {

// Characters of a payload in the log: of the line before an exchange, and of the entry after it.
constexpr int maxCharsOfRequestLine = 2000;
constexpr int maxCharsOfEntry = 6000;
constexpr int unauthorizedStatus = 401;

bool isSuccess(int status) {
    return status >= 200 && status <= 299;
}

QString pathOf(const QUrl& url) {
    return url.path(QUrl::FullyEncoded);
}

void logRequest(const URLRequest& request) {
    const QByteArray path = pathOf(request.url).toUtf8();
    if (request.body.isEmpty()) {
        qCInfo(Log::upload, "API request: %s %s", request.method.constData(), path.constData());
        return;
    }
    const QString payload = LogRedactor::stringifyJSONorText(request.body, maxCharsOfRequestLine);
    qCInfo(Log::upload, "API request: %s %s\nPayload: %s", request.method.constData(), path.constData(),
           qUtf8Printable(payload));
}

QString titleOf(const URLRequest& request, const QString& outcome) {
    return QString::fromUtf8(request.method) + u" -> "_s + pathOf(request.url) + u" • "_s + outcome;
}

/// The lines that begin each entry. The base URL comes from the server and could hold a password.
QString addressLines(const URLRequest& request) {
    return u"URL: "_s + request.url.toString(QUrl::FullyEncoded | QUrl::RemovePassword) + u"\nMethod: "_s +
           QString::fromUtf8(request.method);
}

QString payloadLines(const QString& heading, const std::optional<QByteArray>& payload) {
    return u'\n' + heading + u'\n' + LogRedactor::stringifyJSONorText(payload, maxCharsOfEntry);
}

} // namespace

APIClient::APIClient(URLSession& session, const APIEndpoints& endpoints, KeychainService& keychain, Executor& worker,
                     Executor& main)
    : session_(session)
    , endpoints_(endpoints)
    , keychain_(keychain)
    , worker_(worker)
    , main_(main) {}

Task<QByteArray> APIClient::request(APIRequest request) {
    return runOn(worker_, [this, request = std::move(request)] { return performRequest(request); });
}

URLRequest APIClient::stamped(const QUrl& url, const APIRequest& request) {
    URLRequest stamped;
    stamped.url = url;
    stamped.method = request.method;
    stamped.timeout = timeout;
    stamped.body = request.body.value_or(QByteArray());
    stamped.headers = {
        {"Content-Type", "application/json"}, {"Accept", "application/json"}, {"app-client", "mac"}, {"X-App", "hr"}};
    for (const auto& [name, value] : request.extraHeaders)
        stamped.setHeader(name, value);
    if (request.includeAuthorization) {
        if (const auto tokens = requestTokens(keychain_))
            stamped.setHeader("Authorization", "Bearer " + tokens->accessToken.toUtf8());
    }
    return stamped;
}

Task<QByteArray> APIClient::performRequest(APIRequest request) {
    try {
        co_return co_await attempt(std::move(request));
    } catch (const URLError& error) {
        throw APIError::network(error);
    }
}

/// Throws URLError for what never reached the server.
Task<QByteArray> APIClient::attempt(APIRequest request) {
    const QString origin = endpoints_.origin();
    const URLRequest sent = stamped(endpoints_.url(request.path), request);
    const URLResponse response = co_await loggedExchange(sent, request.body);
    const int status = *response.statusCode;
    if (isSuccess(status))
        co_return response.body;
    if (status != unauthorizedStatus)
        throw APIError::serverError(status);
    if (!request.retryOnUnauthorized || !handleUnauthorized_)
        throw APIError::unauthorized();
    const bool isRefreshed = co_await handleUnauthorized_();
    // The new token is that of the company and the user who are signed in now.
    if (!isRefreshed || endpoints_.origin() != origin)
        throw APIError::unauthorized();
    request.retryOnUnauthorized = false;
    co_return co_await attempt(std::move(request));
}

/// The exchange between its two log entries; the answer has a status.
Task<URLResponse> APIClient::loggedExchange(URLRequest request, std::optional<QByteArray> body) {
    logRequest(request);
    URLResponse response;
    std::optional<URLError> failure;
    try {
        response = co_await session_.exchange(request);
    } catch (const URLError& error) {
        failure = error;
    }
    QString detail = addressLines(request);
    if (failure) {
        detail += payloadLines(u"Request payload:"_s, body) + u"\nError:\n"_s + failure->localizedDescription();
        co_await report(titleOf(request, u"no HTTP response"_s), detail, true);
        throw URLError(*failure);
    }
    if (!response.statusCode)
        throw APIError::serverError(-1);
    detail += u"\nStatusCode: %1"_s.arg(*response.statusCode) + payloadLines(u"Request payload:"_s, body) +
              payloadLines(u"Response payload:"_s, response.body);
    co_await report(titleOf(request, QString::number(*response.statusCode)), detail, !isSuccess(*response.statusCode));
    co_return response;
}

Task<> APIClient::report(QString title, QString detail, bool isError) {
    co_await resumeOn(main_);
    BackendSnackbarReporter::show(title, detail, isError);
    co_await resumeOn(worker_);
}

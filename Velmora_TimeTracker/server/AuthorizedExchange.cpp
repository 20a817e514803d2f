#include "server/AuthorizedExchange.h"

#include "server/APIEndpoints.h"
#include "server/APIError.h"
#include "server/ExchangeLog.h"
#include "server/RequestTokens.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int unauthorizedStatus = 401;

void setBearer(URLRequest& request, const QString& accessToken) {
    request.setHeader("Authorization", "Bearer " + accessToken.toUtf8());
}

void requireSuccess(const URLResponse& response) {
    const int status = *response.statusCode;
    if (status == unauthorizedStatus)
        throw APIError::unauthorized();
    if (status < 200 || status > 299)
        throw APIError::serverError(status, response.header("Retry-After"));
}

} // namespace

AuthorizedExchange::AuthorizedExchange(ServerAccess access, ClientProfile profile)
    : access_(std::move(access))
    , profile_(std::move(profile)) {}

URLRequest AuthorizedExchange::request(const Endpoint& endpoint) const {
    URLRequest request;
    request.url = access_.endpoints.url(endpoint.path);
    request.method = endpoint.method;
    request.timeout = profile_.timeout;
    request.headers = profile_.headers;
    if (endpoint.authorization == Authorization::none)
        return request;
    if (const auto tokens = requestTokens(access_.keychain))
        setBearer(request, tokens->accessToken);
    return request;
}

Task<URLResponse> AuthorizedExchange::send(URLRequest request, Authorization authorization) const {
    const QString origin = access_.endpoints.origin();
    URLResponse response = co_await exchange(request);
    if (response.statusCode == unauthorizedStatus && authorization == Authorization::bearer) {
        const QString token = co_await renewedToken(origin);
        setBearer(request, token);
        response = co_await exchange(request);
    }
    requireSuccess(response);
    co_return response;
}

/// Sends one request and logs it and its outcome.
Task<URLResponse> AuthorizedExchange::exchange(URLRequest request) const {
    ExchangeLog::logRequest(request);
    URLSession::Result result;
    try {
        result = co_await access_.session.exchange(request);
    } catch (const URLError& error) {
        result = error;
    }
    const auto* response = std::get_if<URLResponse>(&result);
    if (response && !response->statusCode)
        throw APIError::serverError(-1);
    co_await profile_.report(request, result);
    if (const auto* failure = std::get_if<URLError>(&result))
        throw URLError(*failure);
    co_return std::get<URLResponse>(result);
}

/// Refreshes the token to repeat a request made for `origin`. Throws if the origin has changed, because the new token
/// belongs to the current sign-in.
Task<QString> AuthorizedExchange::renewedToken(QString origin) const {
    const std::optional<AuthTokens> tokens = co_await access_.refresh();
    if (!tokens)
        throw NotRefreshed(u"The sign-in could not be refreshed."_s);
    if (access_.endpoints.origin() != origin)
        throw NotRefreshed(u"The company was left meanwhile."_s);
    co_return tokens->accessToken;
}

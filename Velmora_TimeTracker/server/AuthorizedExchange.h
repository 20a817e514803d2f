#pragma once

#include "model/AuthTokens.h"
#include "platform/Task.h"
#include "platform/URLSession.h"
#include "server/Endpoints.h"

#include <functional>
#include <optional>

class APIEndpoints;
class KeychainService;

/// What every request to the backend uses.
struct ServerAccess {
    /// Runs the shared refresh on the worker. Returns the new tokens after storing them, or nothing. May throw
    /// URLError.
    using Refresh = std::function<Task<std::optional<AuthTokens>>()>;

    URLSession& session;
    const APIEndpoints& endpoints;
    KeychainService& keychain;
    Refresh refresh;
};

/// The differences between the requests of the clients.
struct ClientProfile {
    HTTPHeaders headers; ///< Fixed headers of each request.
    Seconds timeout;     ///< Without any progress.
    /// Logs the outcome of an exchange with secrets removed, and resumes on the worker. A response has a status.
    std::function<Task<>(URLRequest, URLSession::Result)> report;
};

/// A 401 led to no new token, or the sign-in changed: the server has not judged the request.
class NotRefreshed : public URLError {
public:
    explicit NotRefreshed(const QString& description)
        : URLError(Code::other, description) {}
};

/// One authorized HTTP exchange: sets the headers, logs request and response, checks the status, and on a 401
/// refreshes and repeats once. Keeps no mutable state, so any number of exchanges overlap. Worker executor only.
class AuthorizedExchange {
public:
    AuthorizedExchange(ServerAccess access, ClientProfile profile);

    /// The request of `endpoint` without a body. It has no bearer token if the endpoint wants none or the keyring holds
    /// none. Throws APIError `invalidURL`, and URLError for an insecure address and an unreachable keyring.
    URLRequest request(const Endpoint& endpoint) const;

    /// The 2xx response. A request is repeated only if company and user have not changed since: call this right after
    /// `request`. Throws APIError `serverError` or `unauthorized` if the server refused it, URLError if there was no
    /// response.
    Task<URLResponse> send(URLRequest request, Authorization authorization) const;

private:
    Task<URLResponse> exchange(URLRequest request) const;
    Task<QString> renewedToken(QString origin) const;

    const ServerAccess access_;
    const ClientProfile profile_;
};

#pragma once

#include "model/AuthTokens.h"
#include "platform/Task.h"
#include "platform/URLSession.h"
#include "server/Endpoints.h"

#include <functional>
#include <optional>

class APIEndpoints;
class KeychainService;

/// What all requests to the backend need.
struct ServerAccess {
    /// Runs the shared refresh, on the worker. Returns the new tokens, which are stored by then, or nothing. May throw
    /// URLError.
    using Refresh = std::function<Task<std::optional<AuthTokens>>()>;

    URLSession& session;
    const APIEndpoints& endpoints;
    KeychainService& keychain;
    Refresh refresh;
};

/// In what the requests of one client differ from those of another.
struct ClientProfile {
    HTTPHeaders headers; ///< Fixed headers of each request.
    Seconds timeout;     ///< Without any progress.
    /// Logs the outcome of an exchange with secrets removed, and resumes on the worker. A response has a status.
    std::function<Task<>(URLRequest, URLSession::Result)> report;
};

/// No new token came of a 401, or the sign-in changed meanwhile: the server gave no verdict on the request.
class NotRefreshed : public URLError {
public:
    explicit NotRefreshed(const QString& description)
        : URLError(Code::other, description) {}
};

/// One authorized HTTP exchange: stamps the headers, logs both ways, judges the status, and on a 401 refreshes and
/// repeats once. Keeps no mutable state, so any number of exchanges overlap. Worker executor only.
class AuthorizedExchange {
public:
    AuthorizedExchange(ServerAccess access, ClientProfile profile);

    /// The request of `endpoint` without a body. It has no bearer token if the endpoint wants none or the keyring holds
    /// none. Throws APIError `invalidURL`, and URLError for an insecure address and an unreachable keyring.
    URLRequest request(const Endpoint& endpoint) const;

    /// The 2xx response. A request is repeated only while company and user are those that it was made for: call this
    /// right after `request`. Throws APIError `serverError` or `unauthorized` for the server's verdict, and URLError
    /// when there is none.
    Task<URLResponse> send(URLRequest request, Authorization authorization) const;

private:
    Task<URLResponse> exchange(URLRequest request) const;
    Task<QString> renewedToken(QString origin) const;

    const ServerAccess access_;
    const ClientProfile profile_;
};

#pragma once

#include "APIError.h"
#include "Json.h"
#include "Task.h"
#include "URLSession.h"

#include <QByteArray>
#include <QString>
#include <functional>
#include <optional>

class APIEndpoints;
class KeychainService;

/// Marks what AuthService can hold as its transport.
class AuthTransport {
public:
    virtual ~AuthTransport() = default;
};

/// One call of the JSON client.
struct APIRequest {
    QString path; ///< Relative to the base URL, no leading slash; may carry a query.
    QByteArray method = "POST";
    std::optional<QByteArray> body;
    bool includeAuthorization = true;
    bool retryOnUnauthorized = true;
    HTTPHeaders extraHeaders = {}; ///< Applied after the fixed headers, replacing them.
};

/// The JSON client: stamps the fixed headers and the bearer token, logs the exchange with secrets removed, maps the
/// outcome to APIError and refreshes and repeats once on a 401. Keeps no mutable state. Call it on the worker or the
/// main executor: the exchange itself runs elsewhere, but reading the token may block, so requests that carry
/// authorization move to the worker for it.
class APIClient : public AuthTransport {
public:
    /// Time-out of a request without progress, in seconds.
    static constexpr Seconds timeout = 60;

    /// `refresh` is what a 401 runs: true when new tokens are stored.
    APIClient(URLSession& session, const APIEndpoints& endpoints, KeychainService& keychain, Executor& worker,
              Executor& main);

    /// Set once by the composition root, since the authentication is built on this client.
    void setUnauthorizedHandler(std::function<Task<bool>()> handler) { handleUnauthorized_ = std::move(handler); }

    /// The body of a 2xx response. Throws APIError.
    Task<QByteArray> request(APIRequest request);

    /// The decoded body; `decode` gives an optional, and an absent one throws `decodingFailed`.
    template <typename Decode>
    auto request(APIRequest request, Decode decode)
        -> Task<typename std::invoke_result_t<Decode, const QByteArray&>::value_type> {
        const QByteArray body = co_await this->request(std::move(request));
        auto decoded = decode(body);
        if (!decoded)
            throw APIError::decodingFailed();
        co_return std::move(*decoded);
    }

private:
    URLSession& session_;
    const APIEndpoints& endpoints_;
    KeychainService& keychain_;
    Executor& worker_;
    Executor& main_;
    std::function<Task<bool>()> handleUnauthorized_;
};

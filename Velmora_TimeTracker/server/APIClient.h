#pragma once

#include "platform/Task.h"
#include "platform/URLSession.h"
#include "server/APIError.h"

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
    std::optional<QByteArray> body = std::nullopt;
    bool includeAuthorization = true;
    bool retryOnUnauthorized = true;
    HTTPHeaders extraHeaders = {}; ///< Applied after the fixed headers, replacing them.
};

/// The response of an endpoint whose body does not matter: any 2xx succeeds.
struct EmptyResponse {
    static std::optional<EmptyResponse> decode(const QByteArray&) { return EmptyResponse{}; }
};

/// The JSON client: stamps the fixed headers and the bearer token, logs the exchange with secrets removed,
/// maps the outcome to APIError and refreshes and repeats once on a 401. Keeps no mutable state. Call it on
/// any executor and resume there: a call runs on the worker, because reading the token may block and a large
/// reply takes a while to decode and to log; only the exchange itself runs elsewhere, so any number of calls
/// overlap.
class APIClient : public AuthTransport {
public:
    /// Time-out of a request without progress, in seconds.
    static constexpr Seconds timeout = 60;

    APIClient(URLSession& session, const APIEndpoints& endpoints, KeychainService& keychain, Executor& worker,
              Executor& main);

    /// What a 401 runs, on the worker: true when new tokens are stored; may throw URLError. Set once by the
    /// composition root, since the authentication is built on this client; without it a 401 is final.
    void setUnauthorizedHandler(std::function<Task<bool>()> handler) { handleUnauthorized_ = std::move(handler); }

    /// The body of a 2xx response. Throws APIError.
    Task<QByteArray> request(APIRequest request);

    /// The decoded body; `decode` gives an optional and runs on the worker. An absent one throws
    /// `decodingFailed`.
    template <typename Decode>
    auto request(APIRequest request, Decode decode)
        -> Task<typename std::invoke_result_t<Decode, const QByteArray&>::value_type> {
        return runOn(worker_, [this, request = std::move(request), decode] { return decoded(request, decode); });
    }

private:
    template <typename Decode>
    auto decoded(APIRequest request, Decode decode)
        -> Task<typename std::invoke_result_t<Decode, const QByteArray&>::value_type> {
        const QByteArray body = co_await performRequest(std::move(request));
        auto value = decode(body);
        if (!value)
            throw APIError::decodingFailed();
        co_return std::move(*value);
    }

    Task<QByteArray> performRequest(APIRequest request);
    Task<QByteArray> attempt(APIRequest request);
    Task<URLResponse> loggedExchange(URLRequest request, std::optional<QByteArray> body);
    Task<> report(QString title, QString detail, bool isError);
    URLRequest stamped(const QUrl& url, const APIRequest& request);

    URLSession& session_;
    const APIEndpoints& endpoints_;
    KeychainService& keychain_;
    Executor& worker_;
    Executor& main_;
    std::function<Task<bool>()> handleUnauthorized_;
};

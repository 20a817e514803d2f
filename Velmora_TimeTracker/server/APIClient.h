#pragma once

#include "server/APIError.h"
#include "server/AuthorizedExchange.h"

/// One call of the JSON client.
struct APIRequest {
    Endpoint endpoint;
    QByteArray body = {};
    HTTPHeaders extraHeaders = {}; ///< Applied after the fixed headers, replacing them.
};

/// The response of an endpoint whose body does not matter: any 2xx succeeds.
struct EmptyResponse {
    static std::optional<EmptyResponse> decode(const QByteArray&) { return EmptyResponse{}; }
};

/// The JSON client: one authorized exchange, its body decoded, its outcome mapped to APIError. Has no mutable state.
/// May be called on any executor and resumes there. A call runs on the worker, because reading the token may block and
/// decoding a large response takes time; the exchange itself runs on the network thread, so calls may overlap.
class APIClient {
public:
    /// Time-out of a request without progress, in seconds.
    static constexpr Seconds timeout = 60;

    APIClient(ServerAccess access, Executor& worker, Executor& main);
    APIClient(const APIClient&) = delete;
    APIClient& operator=(const APIClient&) = delete;

    /// The body of a 2xx response. Throws APIError.
    Task<QByteArray> request(APIRequest request);

    /// The decoded body. `decode` runs on the worker and returns an optional; an absent one throws `decodingFailed`.
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

    ClientProfile profile();
    Task<QByteArray> performRequest(APIRequest request);
    /// Logs the outcome on the main executor.
    Task<> report(URLRequest request, URLSession::Result result);

    const AuthorizedExchange exchange_;
    Executor& worker_;
    Executor& main_;
};

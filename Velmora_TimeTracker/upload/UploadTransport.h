#pragma once

#include "platform/Task.h"
#include "platform/URLSession.h"

#include <QByteArray>
#include <QString>
#include <functional>

class APIEndpoints;
class KeychainService;

/// The requests of the upload pipeline: their own headers, their own time-out, one repeat after a refresh.
/// Worker executor only.
class UploadTransport {
public:
    static constexpr Seconds timeout = 120; ///< Without any progress.

    /// Runs the shared refresh and returns the new access token; absent when it gave none. May throw URLError.
    using Refresh = std::function<Task<std::optional<QString>>()>;

    UploadTransport(URLSession& session, const APIEndpoints& endpoints, KeychainService& keychain, Refresh refresh);

    /// `path` is relative to the API root. Throws APIError `invalidURL`, and URLError when there is no token, or the
    /// keyring does not answer: nothing is sent without one.
    URLRequest makeRequest(const QString& path, const QByteArray& method, const QByteArray& contentType);

    /// The bytes of a 2xx response. A 401 leads to a refresh and one repeat, when `allowRetryAfterRefresh`, as long as
    /// company and user are those that the request was made for: call it right after `makeRequest`.
    /// Throws APIError for what the server answered; URLError when it did not: a transport failure, a refresh without a
    /// new token, a change of company, a web page with status 2xx.
    Task<QByteArray> executeRequest(URLRequest request, bool allowRetryAfterRefresh);

private:
    Task<URLResponse> exchange(URLRequest request);

    URLSession& session_;
    const APIEndpoints& endpoints_;
    KeychainService& keychain_;
    Refresh refresh_;
};

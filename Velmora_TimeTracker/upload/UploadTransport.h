#pragma once

#include "Task.h"
#include "URLSession.h"

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

    /// `refresh` runs the shared refresh and answers the new access token, or absent; may throw URLError.
    using Refresh = std::function<Task<std::optional<QString>>()>;

    UploadTransport(URLSession& session, const APIEndpoints& endpoints, KeychainService& keychain,
                    Refresh refresh);

    /// `path` is relative to the API root. Without a sign-in the request has no "Authorization". Throws
    /// APIError `invalidURL`, and URLError while the keyring does not tell whether there is one.
    URLRequest makeRequest(const QString& path, const QByteArray& method, const QByteArray& contentType);

    /// The bytes of a 2xx response. A 401 leads to a refresh and one repeat, when `allowRetryAfterRefresh`.
    /// Throws APIError, or URLError for a transport failure.
    Task<QByteArray> executeRequest(URLRequest request, bool allowRetryAfterRefresh);

private:
    Task<URLResponse> exchange(URLRequest request);

    URLSession& session_;
    const APIEndpoints& endpoints_;
    KeychainService& keychain_;
    Refresh refresh_;
};

#pragma once

#include "server/AuthorizedExchange.h"

/// The requests of the upload pipeline, which have headers and a time-out of their own. Worker executor only.
class UploadTransport {
public:
    static constexpr Seconds timeout = 120; ///< Without any progress.

    explicit UploadTransport(ServerAccess access);

    /// A request without a body. Throws APIError `invalidURL`, and URLError if there is no token or the keyring is
    /// unreachable: an upload is never sent without a token.
    URLRequest makeRequest(const Endpoint& endpoint, const QByteArray& contentType) const;

    /// The body of a 2xx response; after a 401 the request is refreshed and repeated once. Call it right after
    /// `makeRequest`. Throws APIError if the server refused it, and URLError if it gave no answer: a transport
    /// failure, a refresh without a new token, a change of company, a web page with status 2xx.
    Task<QByteArray> executeRequest(URLRequest request) const;

private:
    const AuthorizedExchange exchange_;
};

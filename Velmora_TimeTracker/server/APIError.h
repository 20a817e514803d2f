#pragma once

#include "platform/URLSession.h"

#include <exception>
#include <optional>

/// The one error type of server operations. It has no text for the user: each screen chooses its own.
class APIError : public std::exception {
public:
    enum class Kind { serverError, network, invalidURL, unauthorized, decodingFailed };

    /// A non-2xx status; -1 when the response was not HTTP. `retryAfter` is the reply's header Retry-After, unparsed.
    static APIError serverError(int statusCode, const QByteArray& retryAfter = {});
    static APIError network(const URLError& underlying);
    static APIError invalidURL();
    static APIError unauthorized();
    static APIError decodingFailed();

    Kind kind() const { return kind_; }
    /// Meaningful for `serverError` only.
    int statusCode() const { return statusCode_; }
    /// The header Retry-After of a `serverError`; empty if there is none.
    const QByteArray& retryAfter() const { return retryAfter_; }
    /// Present for `network` only.
    const std::optional<URLError>& underlying() const { return underlying_; }

    QString localizedDescription() const;
    const char* what() const noexcept override { return description_.constData(); }

private:
    APIError(Kind kind, int statusCode, std::optional<URLError> underlying);

    Kind kind_;
    int statusCode_;
    std::optional<URLError> underlying_;
    QByteArray retryAfter_;
    QByteArray description_;
};

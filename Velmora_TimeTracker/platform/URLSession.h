#pragma once

#include "platform/Task.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <exception>
#include <functional>
#include <utility>
#include <variant>
#include <vector>

using HTTPHeaders = std::vector<std::pair<QByteArray, QByteArray>>;

struct URLRequest {
    QUrl url;
    QByteArray method = "GET";
    HTTPHeaders headers;
    QByteArray body;
    /// Seconds without any progress after which the exchange fails with `timedOut`. The whole exchange has a hard
    /// deadline of ten times this.
    Seconds timeout = 60;

    /// The value of a header, names compared without case; empty when absent.
    QByteArray header(const QByteArray& name) const;
    /// Sets a header, replacing a value of the same name.
    void setHeader(const QByteArray& name, const QByteArray& value);
};

struct URLResponse {
    /// Absent if the response is not HTTP.
    std::optional<int> statusCode;
    HTTPHeaders headers;
    /// At most 16 MiB; a larger body fails the exchange.
    QByteArray body;

    /// As for a request.
    QByteArray header(const QByteArray& name) const;

    friend bool operator==(const URLResponse&, const URLResponse&) = default;
};

/// A transport failure: the exchange produced no usable response.
class URLError : public std::exception {
public:
    enum class Code {
        notConnectedToInternet,
        networkConnectionLost,
        cannotConnectToHost,
        cannotFindHost,
        dnsLookupFailed,
        dataNotAllowed,
        insecureConnection, ///< Plain http to another machine: nothing was sent.
        timedOut,
        cancelled,
        other,
    };

    URLError(Code code, QString description);

    Code code() const { return code_; }
    QString localizedDescription() const { return description_; }
    const char* what() const noexcept override { return utf8_.constData(); }

    /// The classes that mean "the machine is offline or the host cannot be reached": nothing is known of the server.
    bool isOffline() const;

private:
    Code code_;
    QString description_;
    QByteArray utf8_;
};

/// Sends one HTTP exchange. Follows a redirect only within the same origin and with the same method and body; any other
/// fails the exchange. Safe to call from any thread.
class URLSession {
public:
    using Result = std::variant<URLResponse, URLError>;
    using Done = std::function<void(Result)>;

    virtual ~URLSession() = default;

    /// Calls `done` exactly once, on any thread.
    virtual void send(URLRequest request, Done done) = 0;

    /// The same as a coroutine: resumes on the executor that called it; throws URLError.
    Task<URLResponse> exchange(URLRequest request);
};

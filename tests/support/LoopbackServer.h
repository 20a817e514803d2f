#pragma once

#include "platform/simulated/SimulatedSession.h"
#include "tests/support/Eventually.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <future>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

/// A server on the loopback interface that does exactly what a test scripts with a connection, on the test's thread.
class LoopbackServer : public QTcpServer {
public:
    /// What to do about the one request of a connection.
    using Script = std::function<void(QTcpSocket&, const URLRequest&)>;
    /// With the first bytes there is no request yet: the script is given an empty one.
    enum class Calls { forWholeRequests, forFirstBytes };

    explicit LoopbackServer(const Script& script, Calls calls = Calls::forWholeRequests) {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::pendingConnectionAvailable, [this, script, calls] {
            QTcpSocket* socket = nextPendingConnection();
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, [=, this, bytes = QByteArray()]() mutable {
                bytes += socket->readAll();
                if (calls == Calls::forFirstBytes)
                    script(*socket, {});
                else if (const auto request = wholeRequest(bytes))
                    script(*socket, requests.emplace_back(*request));
            });
        });
    }
    QUrl url(const QString& path = "/") const { return QUrl(u"http://127.0.0.1:%1%2"_s.arg(serverPort()).arg(path)); }

    std::vector<URLRequest> requests; ///< What came so far, in order of arrival.

private:
    std::optional<URLRequest> wholeRequest(const QByteArray& bytes) const {
        const auto end = bytes.indexOf("\r\n\r\n");
        QByteArrayList head = bytes.first(std::max(end, qsizetype(0))).split('\n');
        const QByteArrayList line = head.takeFirst().split(' ');
        URLRequest request{url(line.value(1)), line.value(0), {}, bytes.mid(end + 4)};
        for (const QByteArray& header : head)
            request.setHeader(header.split(':')[0], header.mid(header.indexOf(':') + 1).trimmed());
        const bool isWhole = end >= 0 && request.body.size() >= request.header("Content-Length").toLongLong();
        return isWhole ? std::optional(request) : std::nullopt;
    }
};

inline QByteArray response(int status, const QByteArray& body, const QByteArray& headers = {}) {
    return "HTTP/1.1 " + QByteArray::number(status) + " Status\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\nConnection: close\r\n" + headers + "\r\n" + body;
}
/// Says the bytes and ends the connection.
inline LoopbackServer::Script saying(const QByteArray& bytes) {
    return [bytes](QTcpSocket& socket, const URLRequest&) {
        socket.write(bytes);
        socket.disconnectFromHost();
    };
}
/// Says the status (there must be one) and the body of what `answer` gives.
inline LoopbackServer::Script answering(const std::function<URLResponse(const URLRequest&)>& answer) {
    return [answer](QTcpSocket& socket, const URLRequest& request) {
        const URLResponse given = answer(request);
        saying(response(given.statusCode.value(), given.body))(socket, request);
    };
}
/// Says the bytes and leaves the connection open.
inline LoopbackServer::Script stallingAfter(const QByteArray& bytes) {
    return [bytes](QTcpSocket& socket, const URLRequest&) { socket.write(bytes); };
}
/// Says nothing and breaks the connection off.
inline void reset(QTcpSocket& socket, const URLRequest&) {
    const linger atOnce{1, 0};
    setsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    socket.abort();
}

/// Sends over the real network, and runs the events of the thread until there is an answer.
inline URLSession::Result answerOver(URLSession& network, const URLRequest& request) {
    std::promise<URLSession::Result> promise;
    auto answer = promise.get_future();
    network.send(request, [&](const URLSession::Result& result) { promise.set_value(result); });
    if (!eventually([&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }))
        qFatal("no answer"); // and one that still comes must find its place
    return answer.get();
}
/// From now on a simulated machine's requests go over the real network, as `prepared`. Virtual time stands still
/// meanwhile.
inline void sendOver(URLSession& network, SimulatedURLSession& machine,
                     const std::function<URLRequest(URLRequest)>& prepared = std::identity()) {
    machine.setServer([&network, prepared](const URLRequest& request) {
        return SimulatedURLSession::Reply{answerOver(network, prepared(request))};
    });
}

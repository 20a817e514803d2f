#pragma once

#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>
#include <functional>
#include <sys/socket.h>

/// A server on the loopback interface that does exactly what a test scripts with the bytes of a connection, on the
/// test's thread.
class LoopbackServer : public QTcpServer {
public:
    /// What to do about the one request of a connection, of which head and body are given.
    using Script = std::function<void(QTcpSocket&, const QByteArray& request)>;
    enum class Calls { forWholeRequests, forFirstBytes };

    explicit LoopbackServer(const Script& script, Calls calls = Calls::forWholeRequests) {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::pendingConnectionAvailable, [this, script, calls] {
            QTcpSocket* socket = nextPendingConnection();
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, [=, request = QByteArray()]() mutable {
                request += socket->readAll();
                if (calls == Calls::forFirstBytes || isWhole(request))
                    script(*socket, request);
            });
        });
    }
    QUrl url(const QString& path = "/") const {
        return QUrl(QString("http://127.0.0.1:%1%2").arg(serverPort()).arg(path));
    }

    /// The body of a request.
    static QByteArray body(const QByteArray& request) { return request.mid(headSize(request)); }

private:
    static qsizetype headSize(const QByteArray& request) { return request.indexOf("\r\n\r\n") + 4; }
    static bool isWhole(const QByteArray& request) {
        const QByteArray name = "\r\ncontent-length: ";
        const QByteArray head = request.left(headSize(request)).toLower();
        const auto begin = head.indexOf(name) + name.size();
        const auto length =
            head.contains(name) ? head.mid(begin, head.indexOf('\r', begin) - begin).toLongLong() : 0;
        return head.endsWith("\r\n\r\n") && body(request).size() >= length;
    }
};

/// Says the bytes and ends the connection.
inline LoopbackServer::Script saying(const QByteArray& bytes) {
    return [bytes](QTcpSocket& socket, const QByteArray&) {
        socket.write(bytes);
        socket.disconnectFromHost();
    };
}
/// Says the bytes and leaves the connection open.
inline LoopbackServer::Script stallingAfter(const QByteArray& bytes) {
    return [bytes](QTcpSocket& socket, const QByteArray&) { socket.write(bytes); };
}
/// Says nothing and breaks the connection off.
inline void reset(QTcpSocket& socket, const QByteArray&) {
    const linger atOnce{1, 0};
    setsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    socket.abort();
}
inline QByteArray response(int status, const QByteArray& body, const QByteArray& headers = {}) {
    return "HTTP/1.1 " + QByteArray::number(status) +
           " Status\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\nConnection: close\r\n" +
           headers + "\r\n" + body;
}

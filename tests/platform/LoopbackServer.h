#pragma once

#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>
#include <atomic>
#include <functional>
#include <future>
#include <sys/socket.h>
#include <thread>

/// A server on the loopback interface that says exactly what a test scripts, byte by byte, to one connection
/// after the other.
class LoopbackServer {
public:
    struct Connection {
        QTcpSocket& socket;
        const std::atomic<bool>& ended;
        QByteArray request; ///< Head and body.

        bool isOpen() const { return socket.state() == QAbstractSocket::ConnectedState; }
        /// False when the client is gone.
        bool say(const QByteArray& bytes) const {
            socket.write(bytes);
            while (!ended && socket.bytesToWrite() > 0 && isOpen())
                socket.waitForBytesWritten(20);
            return !ended && isOpen();
        }
        void waitForClose() const {
            while (!ended && isOpen())
                socket.waitForReadyRead(20);
        }
        /// The connection ends with a reset instead of an orderly close.
        void reset() const {
            const linger atOnce{1, 0};
            setsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce,
                       sizeof atOnce);
            socket.abort();
        }
    };
    using Script = std::function<void(Connection&)>;

    /// `script` answers one request a connection, on the server's thread.
    explicit LoopbackServer(Script script)
        : script_(std::move(script))
        , thread_([this] { run(); }) {
        port_ = listening_.get_future().get();
    }
    ~LoopbackServer() {
        ended_ = true;
        thread_.join();
    }

    QUrl url(const QString& path = "/") const {
        return QUrl(QString("http://127.0.0.1:%1%2").arg(port_).arg(path));
    }
    int connections() const { return connections_; }
    /// True while a script runs.
    bool isServing() const { return served_ != connections_; }

    static QByteArray response(int status, const QByteArray& body, const QByteArray& headers = {}) {
        return "HTTP/1.1 " + QByteArray::number(status) +
               " Status\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\nConnection: close\r\n" +
               headers + "\r\n" + body;
    }

private:
    void run() {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        listening_.set_value(server.serverPort());
        while (!ended_) {
            server.waitForNewConnection(20);
            while (const std::unique_ptr<QTcpSocket> socket{server.nextPendingConnection()})
                serve(*socket);
        }
    }
    void serve(QTcpSocket& socket) {
        ++connections_;
        Connection connection{socket, ended_, {}};
        while (!isWhole(connection.request) && socket.waitForReadyRead(30000))
            connection.request += socket.readAll();
        if (isWhole(connection.request))
            script_(connection);
        ++served_;
    }
    static bool isWhole(const QByteArray& request) {
        const qsizetype head = request.indexOf("\r\n\r\n");
        const qsizetype length = request.left(head).toLower().indexOf("\r\ncontent-length:");
        const QByteArray announced = length < 0 ? "0" : request.mid(length + 17, 12).split('\r').first();
        return head >= 0 && request.size() >= head + 4 + announced.trimmed().toLongLong();
    }

    const Script script_;
    std::atomic<int> connections_ = 0, served_ = 0;
    std::atomic<bool> ended_ = false;
    std::promise<int> listening_;
    int port_ = 0;
    std::thread thread_;
};

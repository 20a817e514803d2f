#pragma once

#include <QByteArray>
#include <QUrl>
#include <arpa/inet.h>
#include <atomic>
#include <fcntl.h>
#include <functional>
#include <list>
#include <mutex>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

/// A server on the loopback interface that says exactly what a test scripts, byte by byte.
class LoopbackServer {
public:
    class Connection {
    public:
        explicit Connection(int descriptor)
            : descriptor_(descriptor) {}
        QByteArray request; ///< Head and body of the request being answered.

        /// False when the client is gone.
        bool say(const QByteArray& bytes) {
            for (qsizetype sent = 0; sent < bytes.size();) {
                const ssize_t count =
                    send(descriptor_, bytes.constData() + sent, bytes.size() - sent, MSG_NOSIGNAL);
                if (count <= 0)
                    return false;
                sent += count;
            }
            return true;
        }
        /// Returns when the client closed the connection.
        void waitForClose() {
            char byte;
            while (recv(descriptor_, &byte, 1, 0) > 0) {
            }
        }
        /// Ends the connection with a reset instead of an orderly close.
        void reset() {
            const linger atOnce{1, 0};
            setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
            const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
            dup2(nothing, descriptor_); // the number stays taken until the server closes it
            close(nothing);
        }

    private:
        int descriptor_;
    };
    using Script = std::function<void(Connection&)>;

    /// `script` answers one request a connection, each on a thread of its own.
    explicit LoopbackServer(Script script)
        : script_(std::move(script))
        , listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        bind(listener_, reinterpret_cast<sockaddr*>(&address), size);
        listen(listener_, 64);
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
        acceptor_ = std::thread([this] { acceptAll(); });
    }
    ~LoopbackServer() {
        shutdown(listener_, SHUT_RDWR);
        acceptor_.join();
        close(listener_);
        for (const int descriptor : open_)
            shutdown(descriptor, SHUT_RDWR);
        for (std::thread& thread : threads_)
            thread.join();
        for (const int descriptor : open_)
            close(descriptor);
    }

    QUrl url(const QString& path = "/") const {
        return QUrl(QString("http://127.0.0.1:%1%2").arg(port_).arg(path));
    }
    int connections() const { return connections_; }

    static QByteArray response(int status, const QByteArray& body, const QByteArray& headers = {}) {
        return "HTTP/1.1 " + QByteArray::number(status) +
               " Status\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\nConnection: close\r\n" +
               headers + "\r\n" + body;
    }

private:
    void acceptAll() {
        for (int peer; (peer = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
            ++connections_;
            open_.push_back(peer);
            threads_.emplace_back([this, peer] { serve(peer); });
        }
    }

    void serve(int peer) {
        Connection connection(peer);
        qsizetype whole = -1;
        for (char buffer[4096]; whole < 0 || connection.request.size() < whole;) {
            const ssize_t count = recv(peer, buffer, sizeof buffer, 0);
            if (count <= 0)
                return;
            connection.request.append(buffer, count);
            if (const qsizetype end = connection.request.indexOf("\r\n\r\n"); end >= 0)
                whole = end + 4 + contentLength(connection.request.first(end));
        }
        script_(connection);
        shutdown(peer, SHUT_WR);
    }

    static qsizetype contentLength(const QByteArray& head) {
        const qsizetype at = head.toLower().indexOf("\r\ncontent-length:");
        return at < 0 ? 0 : head.mid(at + 17, 12).split('\r').first().trimmed().toLongLong();
    }

    const Script script_;
    const int listener_;
    int port_ = 0;
    std::atomic<int> connections_ = 0;
    std::vector<int> open_;
    std::list<std::thread> threads_;
    std::thread acceptor_;
};

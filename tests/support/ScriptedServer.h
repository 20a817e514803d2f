#pragma once

#include "SimulatedSession.h"

#include <QCoreApplication>
#include <future>
#include <httplib.h>
#include <mutex>
#include <thread>

/// A real HTTP server on a free port of the loopback interface, whose answers are a function of the test. It
/// runs on threads of its own from construction to destruction.
class ScriptedServer {
public:
    /// Called on the server's threads, one call at a time. The request's URL is absolute; of the answer, the
    /// status (there must be one) and the body are sent.
    using Script = std::function<URLResponse(const URLRequest&)>;

    explicit ScriptedServer(const Script& script) {
        const auto handler = [this, script](const httplib::Request& request, httplib::Response& response) {
            URLRequest received;
            received.url = root().resolved(QUrl(QString::fromStdString(request.target)));
            received.method = QByteArray::fromStdString(request.method);
            received.body = QByteArray::fromStdString(request.body);
            for (const auto& [name, value] : request.headers)
                received.setHeader(QByteArray::fromStdString(name), QByteArray::fromStdString(value));
            const std::lock_guard guard(mutex_);
            const URLResponse scripted = script(requests_.emplace_back(received));
            response.status = scripted.statusCode.value();
            response.set_content(scripted.body.toStdString(), "application/json");
        };
        server_.set_keep_alive_max_count(1);
        server_.Get(".*", handler).Post(".*", handler);
        thread_ = std::jthread([this] { server_.listen_after_bind(); });
        while (!server_.is_running())
            std::this_thread::yield();
    }
    ~ScriptedServer() { server_.stop(); }

    QUrl root() const { return QUrl(QString("http://127.0.0.1:%1/api/v1/").arg(port_)); }
    /// What came so far, in order of arrival.
    std::vector<URLRequest> requests() const {
        const std::lock_guard guard(mutex_);
        return requests_;
    }

private:
    httplib::Server server_;
    const int port_ = server_.bind_to_any_port("127.0.0.1");
    mutable std::mutex mutex_; ///< Guards the next member, and lets the script answer one call at a time.
    std::vector<URLRequest> requests_;
    std::jthread thread_;
};

/// From now on a simulated machine's requests go over the real network, as `prepared`. Virtual time stands still
/// meanwhile, the events of the thread do not.
inline void sendOver(URLSession& network, SimulatedURLSession& machine,
                     const std::function<URLRequest(URLRequest)>& prepared = std::identity()) {
    machine.setServer([&network, prepared](const URLRequest& request) {
        std::promise<URLSession::Result> answered;
        network.send(prepared(request),
                     [&](URLSession::Result result) { answered.set_value(std::move(result)); });
        auto answer = answered.get_future();
        while (answer.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
            QCoreApplication::processEvents();
        return SimulatedURLSession::Reply{answer.get()};
    });
}

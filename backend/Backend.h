#pragma once

#include "backend/Endpoint.h"

#include <mutex>
#include <thread>

namespace backend {

/// The development backend: an HTTP server on 127.0.0.1, with no other address to choose, that speaks the
/// client's endpoints as a strict server would and keeps what it is sent in one folder.
class Backend {
public:
    struct Options {
        QString dataFolder;
        QByteArray configuration{};    ///< JSON; empty takes the built-in one
        int port = 0;                  ///< 0 picks a free one
        std::function<double()> now{}; ///< unix seconds; empty takes the system's clock
    };

    /// Binds the port and starts to serve on threads of its own. Throws std::runtime_error when it cannot.
    explicit Backend(const Options& options);
    /// Ends all connections, and returns when the last request is through.
    ~Backend();
    Backend(const Backend&) = delete;
    Backend& operator=(const Backend&) = delete;

    int port() const { return boundPort; }
    /// "http://127.0.0.1:PORT/".
    QString url() const;

private:
    /// `faulty`: what was armed strikes these endpoints.
    void install(const std::vector<Endpoint>& endpoints, bool faulty);
    void serve(const Endpoint& endpoint, bool faulty, const httplib::Request& request, httplib::Response& response);

    std::mutex mutex; ///< guards `state`
    State state;
    httplib::Server server;
    int boundPort = 0;
    std::thread listener;
};

} // namespace backend

#pragma once

#include "URLSession.h"

#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace httplib {
class Server;
}

/// A real HTTP server on a free port of the loopback interface, whose answers are a function of the test. It
/// runs on threads of its own from construction to destruction.
class ScriptedServer {
public:
    /// Called on the server's threads, one call at a time. The request's URL is absolute; the answer has a
    /// status and a body.
    using Script = std::function<URLResponse(const URLRequest&)>;

    explicit ScriptedServer(const Script& script);
    ~ScriptedServer();

    QUrl root() const { return QUrl(QString("http://127.0.0.1:%1/api/v1/").arg(port_)); }
    /// What came so far, in order of arrival.
    std::vector<URLRequest> requests() const;

private:
    const std::shared_ptr<httplib::Server> server_;
    const int port_;
    mutable std::mutex mutex_; ///< Guards the next member, and lets the script answer one call at a time.
    std::vector<URLRequest> requests_;
    std::thread thread_;
};

#pragma once

#include "URLSession.h"

#include <functional>
#include <memory>
#include <vector>

/// A real HTTP server on a free port of the loopback interface, whose answers are a function of the test. It
/// runs on threads of its own from construction to destruction.
class ScriptedServer {
public:
    /// Called on the server's threads, one call at a time. The request's URL is absolute. An answer without a
    /// status breaks off behind its headers; one with a "Content-Length" beyond its body breaks off where the
    /// body ends.
    using Script = std::function<URLResponse(const URLRequest&)>;

    explicit ScriptedServer(Script script);
    ~ScriptedServer();

    /// "http://127.0.0.1:<port>/api/v1/"
    QUrl root() const;
    /// What came so far, in order of arrival.
    std::vector<URLRequest> requests() const;

private:
    struct Running;
    std::unique_ptr<Running> running_;
};

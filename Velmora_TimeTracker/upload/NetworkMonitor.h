#pragma once

#include <memory>
#include <mutex>

class PathMonitor;

/// Whether the machine has a usable network path: for the log only, it blocks no request. Any thread.
class NetworkMonitor {
public:
    explicit NetworkMonitor(PathMonitor& monitor);

    bool isOnline() const;

private:
    struct State {
        std::mutex lock;
        bool isOnline = true;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

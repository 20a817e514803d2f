#pragma once

#include <functional>

/// Tells whether the machine has a usable network path.
class PathMonitor {
public:
    virtual ~PathMonitor() = default;

    /// Calls `onUpdate` with the present answer soon, and again at each change, on any one thread, until the monitor is
    /// destroyed. Called once.
    virtual void start(std::function<void(bool online)> onUpdate) = 0;
};

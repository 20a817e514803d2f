#pragma once

#include <functional>

/// Reports whether the machine has a usable network path.
class PathMonitor {
public:
    virtual ~PathMonitor() = default;

    /// Calls `onUpdate` with the current state soon and at each change, always on the same thread, until the monitor
    /// is destroyed. Call it once.
    virtual void start(std::function<void(bool online)> onUpdate) = 0;
};

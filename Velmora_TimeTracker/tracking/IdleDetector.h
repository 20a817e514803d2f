#pragma once

#include "Executor.h"
#include "IdleTimeSource.h"

#include <functional>
#include <memory>
#include <mutex>

/// Watches system-wide input and tells the two edges: idle for the threshold, and active again. Notices come on the
/// utility executor. `start` and `stop` may be called from any thread.
class IdleDetector {
public:
    IdleDetector(IdleTimeSource& source, Executor& utility);
    ~IdleDetector();

    std::function<void()> onIdle;   ///< Set before `start`.
    std::function<void()> onActive; ///< Set before `start`.

    /// Minutes below 1 count as 1. Stops an earlier run first.
    void start(qint64 idleThresholdMinutes);
    void stop();

private:
    void check(Seconds threshold);

    IdleTimeSource& source_;
    Executor& utility_;
    std::unique_ptr<Executor::Timer> timer_; ///< Touched on `utility_` only.
    bool isIdle_ = false;                    ///< Touched on `utility_` only.
};

#pragma once

#include "Executor.h"
#include "IdleTimeSource.h"

#include <functional>
#include <memory>

/// Watches system-wide input and tells the two edges: idle for the threshold, and active again. Notices come
/// on the executor it is given. `start` and `stop` may be called from any thread and never wait for that
/// executor, so a notice that was under way may still come after them: receivers check their own state.
class IdleDetector {
public:
    IdleDetector(IdleTimeSource& source, Executor& executor);
    ~IdleDetector();

    std::function<void()> onIdle;   ///< Set before `start`.
    std::function<void()> onActive; ///< Set before `start`.

    /// Minutes below 1 count as 1. Stops an earlier run first.
    void start(qint64 idleThresholdMinutes);
    void stop();

private:
    struct Watch;

    Executor& executor_;
    const std::shared_ptr<Watch> watch_; ///< Touched on `executor_` only.
};

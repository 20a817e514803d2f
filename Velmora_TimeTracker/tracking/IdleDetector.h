#pragma once

#include "platform/Executor.h"
#include "platform/IdleTimeSource.h"

#include <atomic>
#include <functional>
#include <memory>

/// Watches system-wide input and reports the two edges: idle for the threshold, and active again. Notices come
/// on the executor it is given. `start` and `stop` may be called from any thread and never wait for that
/// executor, so a notice of an earlier run may still come after them: receivers ask `isCurrent`.
class IdleDetector {
public:
    IdleDetector(IdleTimeSource& source, Executor& executor);
    ~IdleDetector();

    using Run = quint64;
    std::function<void(Run)> onIdle;   ///< Set before `start`.
    std::function<void(Run)> onActive; ///< Set before `start`.

    /// Minutes below 1 count as 1. Stops an earlier run first.
    void start(qint64 idleThresholdMinutes);
    void stop();
    /// True until the next `start` or `stop`. Any thread.
    bool isCurrent(Run run) const { return run == run_; }

private:
    struct Watch;

    Executor& executor_;
    std::atomic<Run> run_ = 0;
    const std::shared_ptr<Watch> watch_; ///< Touched on `executor_` only.
};

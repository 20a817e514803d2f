#include "tracking/IdleDetector.h"

#include <algorithm>
#include <utility>

namespace {
constexpr Seconds checkInterval = 5;
constexpr Seconds checkLeeway = 1;
} // namespace

struct IdleDetector::Watch {
    IdleTimeSource& source;
    Seconds threshold = 0;
    std::function<void(Run)> onIdle;
    std::function<void(Run)> onActive;
    Run run = 0;
    bool isIdle = false; ///< The last notice given was idle.
    std::unique_ptr<Executor::Timer> timer;

    void stop() {
        timer.reset();
        isIdle = false;
    }

    void check() {
        const auto sinceMove = source.secondsSinceLast(InputEventType::mouseMoved);
        const auto sinceKey = source.secondsSinceLast(InputEventType::keyDown);
        if (!sinceMove || !sinceKey)
            return;
        const bool isIdleNow = std::min(*sinceMove, *sinceKey) >= threshold;
        if (std::exchange(isIdle, isIdleNow) == isIdleNow)
            return;
        if (const auto& notify = isIdleNow ? onIdle : onActive)
            notify(run);
    }
};

IdleDetector::IdleDetector(IdleTimeSource& source, Executor& executor)
    : executor_(executor)
    , watch_(std::make_shared<Watch>(Watch{source, 0, nullptr, nullptr, 0, false, nullptr})) {}

IdleDetector::~IdleDetector() {
    stop();
}

void IdleDetector::start(qint64 idleThresholdMinutes) {
    const Seconds threshold = 60.0 * static_cast<Seconds>(std::max<qint64>(idleThresholdMinutes, 1));
    executor_.post([watch = watch_, &executor = executor_, run = ++run_, threshold, idle = onIdle, active = onActive] {
        watch->stop();
        watch->run = run;
        watch->threshold = threshold;
        watch->onIdle = idle;
        watch->onActive = active;
        watch->timer = executor.every(0, checkInterval, checkLeeway, [weak = std::weak_ptr(watch)] {
            if (const auto running = weak.lock())
                running->check();
        });
    });
}

void IdleDetector::stop() {
    ++run_;
    executor_.post([watch = watch_] { watch->stop(); });
}

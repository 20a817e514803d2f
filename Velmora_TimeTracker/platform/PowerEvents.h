#pragma once

#include <functional>

/// Sleep, wake and the end of the session. Main thread.
class PowerEvents {
public:
    struct Handlers {
        /// The machine is about to sleep; it waits until this handler, and jobs that it posted to the main executor,
        /// have run. Not every sleep is announced.
        std::function<void()> willSleep;
        /// The machine woke. May be called twice for one sleep.
        std::function<void()> didWake;
        /// The process is about to end: a termination signal, the end of the desktop session, or quitting. The process
        /// ends after the handler has returned.
        std::function<void()> willTerminate;
    };

    virtual ~PowerEvents() = default;

    /// Called once, at boot.
    virtual void start(Handlers handlers) = 0;
};

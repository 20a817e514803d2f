#pragma once

#include <functional>

/// The machine's and the session's life. Main thread.
class PowerEvents {
public:
    struct Handlers {
        /// The machine is about to sleep, and does not before this handler, and everything that it posted to the main
        /// executor, has run. Not every sleep is announced.
        std::function<void()> willSleep;
        /// The machine woke. May come twice for one sleep.
        std::function<void()> didWake;
        /// The process is about to end: a termination signal, the end of the desktop session, or quitting. The process
        /// ends after the handler returned.
        std::function<void()> willTerminate;
    };

    virtual ~PowerEvents() = default;

    /// Called once, at boot.
    virtual void start(Handlers handlers) = 0;
};

#pragma once

#include "platform/Date.h"

#include <QTimeZone>
#include <chrono>

/// The machine's two clocks and its time zone. Safe to call from any thread.
class Clock {
public:
    virtual ~Clock() = default;

    /// The wall clock. It may jump in either direction at any time.
    virtual Date now() const = 0;

    /// The monotonic clock: never goes back; stops while the machine sleeps.
    virtual std::chrono::nanoseconds uptime() const = 0;

    /// The machine's current time zone.
    virtual QTimeZone systemTimeZone() const = 0;
};

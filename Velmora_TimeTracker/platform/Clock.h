#pragma once

#include "platform/Date.h"

#include <QTimeZone>
#include <chrono>

/// The machine's two clocks and its zone. Safe to call from any thread.
class Clock {
public:
    virtual ~Clock() = default;

    /// The wall clock. It can jump either way at any moment.
    virtual Date now() const = 0;

    /// The monotonic clock: never goes back, and stands still while the machine sleeps.
    virtual std::chrono::nanoseconds uptime() const = 0;

    /// The zone that the machine is set to at this moment.
    virtual QTimeZone systemTimeZone() const = 0;
};

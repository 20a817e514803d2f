#pragma once

#include "platform/Clock.h"

/// The system's real-time and monotonic clocks. The monotonic one stops while the machine sleeps.
class LinuxClock final : public Clock {
public:
    Date now() const override;
    std::chrono::nanoseconds uptime() const override;
    QTimeZone systemTimeZone() const override;

    /// Total sleep time since the machine was started.
    static std::chrono::nanoseconds timeAsleep();
};

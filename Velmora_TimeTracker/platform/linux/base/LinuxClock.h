#pragma once

#include "platform/Clock.h"

/// The system's real-time and monotonic clocks. The monotonic one stands still while the machine sleeps.
class LinuxClock final : public Clock {
public:
    Date now() const override;
    std::chrono::nanoseconds uptime() const override;
    QTimeZone systemTimeZone() const override;

    /// How long the machine has slept since it was started.
    static std::chrono::nanoseconds timeAsleep();
};

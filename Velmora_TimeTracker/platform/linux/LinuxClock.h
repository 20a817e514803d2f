#pragma once

#include "Clock.h"

/// The system's real-time and monotonic clocks. The monotonic one stands still while the machine sleeps.
class LinuxClock final : public Clock {
public:
    Date now() const override;
    std::chrono::nanoseconds uptime() const override;
    QTimeZone systemTimeZone() const override;
};

#include "tracking/RunningClock.h"

#include "platform/Clock.h"

#include <chrono>
#include <cmath>

namespace {
constexpr Seconds smallestClockStep = 1.0; ///< Smaller steps are NTP slew or rounding.
} // namespace

void RunningClock::mark() {
    markedOffset_ = wallClockOffset();
}

Date RunningClock::endOfRunning(Date now) const {
    const Seconds step = wallClockOffset() - markedOffset_;
    return std::abs(step) < smallestClockStep ? now : now - step;
}

Seconds RunningClock::wallClockOffset() const {
    const std::chrono::duration<Seconds> uptime = clock_.uptime();
    return clock_.now().secondsSince1970() - uptime.count();
}

#pragma once

#include "platform/Date.h"

class Clock;

/// Tells running time from changes of the wall clock and from unannounced sleeps, by comparing the wall clock with the
/// monotonic one. Main thread.
class RunningClock {
public:
    /// `clock` must outlive this.
    explicit RunningClock(const Clock& clock)
        : clock_(clock) {}

    /// Records that the interval runs now: both clocks agree from here on.
    void mark();
    /// Where an interval closed at `now` ends. After a clock change or an unannounced sleep only the time that the monotonic
    /// clock counted since the last mark is billed.
    Date endOfRunning(Date now) const;

private:
    Seconds wallClockOffset() const;

    const Clock& clock_;
    Seconds markedOffset_ = 0; ///< Wall clock minus monotonic clock at the last mark.
};

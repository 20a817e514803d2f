#include "tracking/RunningClock.h"

#include "platform/Clock.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

struct TwoClocks : Clock {
    Date now() const override { return wall; }
    std::chrono::nanoseconds uptime() const override { return monotonic; }
    QTimeZone systemTimeZone() const override { return QTimeZone::utc(); }

    Date wall{1'000'000};
    std::chrono::nanoseconds monotonic = 500s;
};

struct Advance {
    const char* name;
    Seconds wall;
    std::chrono::nanoseconds monotonic;
    Seconds billed; ///< Between the mark and the end.
};

} // namespace

TEST(RunningClock, BillsTheMonotonicClockAfterAStep) {
    const Advance cases[] = {
        {"both clocks agree", 10, 10s, 10}, {"slewed by less than a second", 10.9, 10s, 10.9},
        {"set ahead", 3610, 10s, 10},       {"set back", -3590, 10s, 10},
        {"slept unannounced", 7200, 0s, 0},
    };
    for (const Advance& advance : cases) {
        SCOPED_TRACE(advance.name);
        TwoClocks clocks;
        RunningClock running(clocks);
        running.mark();
        const Date marked = clocks.wall;
        clocks.wall = marked + advance.wall;
        clocks.monotonic += advance.monotonic;
        EXPECT_NEAR(running.endOfRunning(clocks.wall).secondsSince1970() - marked.secondsSince1970(), advance.billed,
                    1e-6);
    }
}

TEST(RunningClock, ForgetsAStepAtTheNextMark) {
    TwoClocks clocks;
    RunningClock running(clocks);
    running.mark();
    clocks.wall = clocks.wall + 3600;
    running.mark();
    EXPECT_EQ(running.endOfRunning(clocks.wall), clocks.wall);
}

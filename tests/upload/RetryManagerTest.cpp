#include "RetryManager.h"

#include "LogCapture.h"
#include "SimulatedPlatform.h"

#include <gtest/gtest.h>

namespace {

struct Breaker : testing::Test {
    Timeline timeline;
    SimulatedClock clock{timeline};
    SimulatedRandom random;
    RetryManager retry{clock, random};

    void fail(std::optional<int> status, int times = 1) {
        for (int i = 0; i < times; ++i)
            retry.registerFailure(status);
    }
    bool isOpen() const { return !retry.canAttempt(clock.now()); }
};

} // namespace

TEST_F(Breaker, opensAtTheFifthFailureAndThenEachTimeForLonger) {
    const LogCapture log;
    fail(500, 4);
    EXPECT_FALSE(isOpen());
    int failures = 4;
    for (const int cooldown : {60, 120, 240, 480, 600, 600}) {
        fail(503);
        ++failures;
        EXPECT_EQ(
            log.lines(QtCriticalMsg).last(),
            QString("Circuit breaker opened for %1.000000s after %2 failures").arg(cooldown).arg(failures));
        timeline.advance(cooldown - 0.001);
        EXPECT_TRUE(isOpen()) << cooldown;
        timeline.advance(0.001);
        EXPECT_FALSE(isOpen()) << cooldown; // at the very instant
    }
    retry.registerSuccess();
    fail(500, 4);
    EXPECT_FALSE(isOpen());
    fail(500);
    EXPECT_TRUE(isOpen());
    timeline.advance(60);
    EXPECT_FALSE(isOpen()); // the ladder begins anew
}

TEST_F(Breaker, onlyAServerErrorOpensItButEveryFailureCounts) {
    fail(std::nullopt, 5);
    fail(429);
    fail(499);
    fail(-1);
    EXPECT_FALSE(isOpen());
    fail(500);
    EXPECT_TRUE(isOpen());
    retry.registerSuccess();
    EXPECT_FALSE(isOpen());
}

TEST_F(Breaker, aClockSetBackDoesNotStretchACooldown) {
    fail(503, 5);
    timeline.jumpWallClock(-500);
    EXPECT_TRUE(isOpen());
    timeline.jumpWallClock(-13 * 3600);
    EXPECT_FALSE(isOpen());
}

TEST_F(Breaker, nextAttemptDoublesAndStaysWithinASecondOfItsStep) {
    const std::pair<int, int> steps[] = {{0, 2},  {1, 4},  {2, 8},  {3, 16},
                                         {4, 32}, {5, 64}, {6, 64}, {1000, 64}};
    for (const auto& [failures, step] : steps) {
        Seconds least = 1e9;
        Seconds most = 0;
        for (int i = 0; i < 500; ++i) {
            const Seconds delay = retry.nextAttemptDate(failures) - clock.now();
            least = std::min(least, delay);
            most = std::max(most, delay);
        }
        EXPECT_GE(least, step) << failures;
        EXPECT_LT(least, step + 0.1) << failures;
        EXPECT_LE(most, step + 1) << failures;
        EXPECT_GT(most, step + 0.9) << failures;
    }
}

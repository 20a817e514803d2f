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

    bool opensAfter(std::optional<int> status, int times = 1) {
        for (int i = 0; i < times; ++i)
            retry.registerFailure(status);
        return isOpen();
    }
    bool isOpen() const { return !retry.canAttempt(clock.now()); }
};

} // namespace

TEST_F(Breaker, opensAtTheFifthFailureAndThenEachTimeForLonger) {
    const LogCapture log;
    EXPECT_FALSE(opensAfter(500, 4));
    int failures = 4;
    for (const int cooldown : {60, 120, 240, 480, 600, 600}) {
        EXPECT_TRUE(opensAfter(503));
        EXPECT_EQ(log.lines(QtCriticalMsg).last(),
                  QString::asprintf("Circuit breaker opened for %d.000000s after %d failures", cooldown,
                                    ++failures));
        timeline.advance(cooldown - 0.001);
        EXPECT_TRUE(isOpen()) << cooldown;
        timeline.advance(0.001);
        EXPECT_FALSE(isOpen()) << cooldown; // at the very instant
    }
    retry.registerSuccess();
    EXPECT_FALSE(opensAfter(500, 4));
    EXPECT_TRUE(opensAfter(500));
    timeline.advance(60);
    EXPECT_FALSE(isOpen()); // the ladder begins anew
}

TEST_F(Breaker, onlyAServerErrorOpensItButEveryFailureCounts) {
    EXPECT_FALSE(opensAfter(std::nullopt, 5));
    for (const int status : {429, 499, -1})
        EXPECT_FALSE(opensAfter(status));
    EXPECT_TRUE(opensAfter(500));
    timeline.jumpWallClock(-500);
    EXPECT_TRUE(isOpen());
    timeline.jumpWallClock(-13 * 3600); // must not stretch a cool-down
    EXPECT_FALSE(isOpen());
    timeline.jumpWallClock(13 * 3600);
    retry.registerSuccess();
    EXPECT_FALSE(isOpen());
}

TEST_F(Breaker, nextAttemptDoublesAndStaysWithinASecondOfItsStep) {
    const std::pair<int, int> steps[] = {{0, 2}, {1, 4}, {2, 8}, {3, 16}, {4, 32}, {5, 64}, {1000, 64}};
    for (const auto& [failures, step] : steps) {
        std::set<Seconds> delays;
        for (int i = 0; i < 500; ++i)
            delays.insert(retry.nextAttemptDate(failures) - clock.now());
        EXPECT_NEAR(*delays.begin(), step + 0.05, 0.05) << failures;
        EXPECT_NEAR(*delays.rbegin(), step + 0.95, 0.05) << failures;
    }
}

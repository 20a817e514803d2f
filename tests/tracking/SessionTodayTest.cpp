// The figure of the day and the five-minute rate, as the person sees them.

#include "EngineFixture.h"
#include "LogCapture.h"

#include <gtest/gtest.h>

namespace {

struct SessionToday : testing::Test {
    EngineFixture world;
    SessionManager& engine = world.engine();
    const QString today = "2024-05-15";

    /// A finished session of this day, of that many seconds.
    void work(Seconds span) {
        world.start();
        world.tick(span);
        engine.stopTracking();
    }
};

} // namespace

TEST_F(SessionToday, RunsWithTheSessionFromTheServersFigure) {
    work(100);
    EXPECT_EQ(engine.todayTotalSeconds(), 100);
    engine.applyServerTodayTotal({3600, today});
    EXPECT_EQ(engine.todayTotalSeconds(), 3600);
    world.start();
    world.tick(1);
    EXPECT_EQ(engine.todayTotalSeconds(), 3601);
    engine.applyServerTodayTotal({1000, today}); // smaller, same day: the server wins
    EXPECT_EQ(engine.todayTotalSeconds(), 1000);
    engine.applyServerTodayTotal({1, today});
    EXPECT_EQ(engine.todayTotalSeconds(), 101); // but never below local work
    engine.pauseTracking();
    world.tick(10);
    EXPECT_EQ(engine.todayTotalSeconds(), 101);
}

TEST_F(SessionToday, NeverFallsBelowTheServerWhenIdleIsDiscarded) {
    world.start();
    world.typeFor(100);
    world.tick(200);
    engine.applyServerTodayTotal({5000, today});
    world.tick(105);
    ASSERT_TRUE(engine.isIdle());
    EXPECT_GT(engine.todayTotalSeconds(), 5090);
    engine.stopTracking();
    EXPECT_EQ(engine.todayTotalSeconds(), 5000);
}

TEST_F(SessionToday, IgnoresFiguresOfDaysGoneBy) {
    LogCapture log;
    engine.applyServerTodayTotal({9000, "2024-05-14"});
    EXPECT_TRUE(log.contains("Ignoring outdated server today_total: dated 2024-05-14, today is 2024-05-15"));
    work(100);
    engine.applyServerTodayTotal({50, today});
    engine.applyServerTodayTotal({7000, "2024-05-16"}); // a server ahead of this clock
    EXPECT_TRUE(
        log.contains("Server today_date changed 2024-05-15(50s) → 2024-05-16(7000s); local reset to 0"));
    EXPECT_EQ(engine.todayTotalSeconds(), 7000);
    engine.applyServerTodayTotal({60, today});
    EXPECT_TRUE(
        log.contains("Ignoring stale server today_total: incoming date 2024-05-15 < current 2024-05-16"));
    EXPECT_EQ(engine.todayTotalSeconds(), 7000);
}

TEST_F(SessionToday, ForgetsAFigureAtMidnight) {
    engine.applyServerTodayTotal({9000, today});
    world.jumpTo("2024-05-15T23:59:55Z");
    world.start();
    world.tick(10);
    EXPECT_LE(engine.todayTotalSeconds(), 5);
}

TEST_F(SessionToday, CountsTheHistoryOfTheCompanysDay) {
    work(100);
    world.restart();
    EXPECT_EQ(world.engine().todayTotalSeconds(), 100);
    world.config.appTimezone = "Pacific/Kiritimati"; // there it is the 15th until 10:00 UTC
    world.engine().applyConfig(world.config);
    EXPECT_EQ(world.engine().todayTotalSeconds(), 100);
    world.jumpTo("2024-05-15T10:00:01Z");
    world.engine().applyConfig(world.config);
    EXPECT_EQ(world.engine().todayTotalSeconds(), 0);
}

TEST_F(SessionToday, TakesTheFigureOfAConfigurationAndOfTheServersAnswers) {
    world.config.todayTotalSeconds = 1234;
    engine.applyConfig(world.config); // without its day: not taken
    EXPECT_EQ(engine.todayTotalSeconds(), 0);
    world.config.todayDate = today;
    engine.applyConfig(world.config);
    EXPECT_EQ(engine.todayTotalSeconds(), 1234);
    world.todayTotal = ServerTodayTotal{2000, today};
    world.start();
    world.tick(10);
    EXPECT_NEAR(engine.todayTotalSeconds(), 2010, 1);
}

TEST_F(SessionToday, RatesTheLastFiveTrackedMinutes) {
    EXPECT_EQ(engine.last5MinActivityRate(), std::nullopt);
    engine.recordLast5MinInput(true); // no session
    EXPECT_EQ(engine.last5MinActivityRate(), std::nullopt);
    world.start();
    world.typeFor(75);
    EXPECT_EQ(engine.last5MinActivityRate(), 100);
    world.tick(75);
    EXPECT_EQ(engine.last5MinActivityRate(), 50); // of the seconds so far, not of 300
    engine.pauseTracking();
    world.tick(100);
    EXPECT_EQ(engine.last5MinActivityRate(), 50);
    world.machine.input.happen(InputEventType::mouseMoved);
    engine.resumeTracking();
    world.tick(150);
    EXPECT_EQ(engine.last5MinActivityRate(), 25);
    world.tick(1); // the 301st drops the first
    EXPECT_NEAR(*engine.last5MinActivityRate(), 74 / 3.0, 1e-9);
    engine.stopTracking();
    EXPECT_EQ(engine.last5MinActivityRate(), std::nullopt);
    world.start();
    world.typeFor(1);
    EXPECT_EQ(engine.last5MinActivityRate(), 100);
}

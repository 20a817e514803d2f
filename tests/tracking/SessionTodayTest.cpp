// The figure of the day and the five-minute rate, as the person sees them.

#include "EngineTest.h"
#include "tests/support/LogCapture.h"

namespace {

struct SessionToday : EngineTest {
    Seconds shown() { return engine().todayTotalSeconds(); }
    Seconds shownAfter(qint64 serversFigure, const char* date = "2024-05-15") {
        engine().applyServerTodayTotal({serversFigure, date});
        return shown();
    }
    Seconds shownAfterWork(Seconds span) {
        world.start();
        world.tick(span);
        engine().stopTracking();
        return shown();
    }
};

} // namespace

TEST_F(SessionToday, RunsWithTheSessionFromTheServersFigure) {
    EXPECT_EQ(shownAfterWork(100), 100);
    EXPECT_EQ(shownAfter(3600), 3600);
    world.start();
    world.tick(1);
    EXPECT_EQ(shown(), 3601);
    EXPECT_EQ(shownAfter(1000), 1000); // smaller, same day: the server wins
    EXPECT_EQ(shownAfter(1), 101);     // but never below local work,
    world.tick(1);
    EXPECT_EQ(shown(), 102); // with which it rises
    world.typeFor(100);
    world.tick(200);
    EXPECT_EQ(shownAfter(5000), 5000);
    world.tick(105);
    engine().stopTracking(); // discards the idle time, which the server knows
    EXPECT_EQ(shown(), 5000);
}

TEST_F(SessionToday, IgnoresFiguresOfDaysGoneBy) {
    LogCapture log;
    EXPECT_EQ(shownAfter(9000, "2024-05-14"), 0);
    EXPECT_EQ(shownAfterWork(100), 100);
    EXPECT_EQ(shownAfter(50), 100);
    EXPECT_TRUE(log.contains("Ignoring outdated server today_total: dated 2024-05-14, today is 2024-05-15"));
    EXPECT_EQ(shownAfter(7000, "2024-05-16"), 7000); // a server ahead of this clock
    for (const char* later : {"2024-05-15", "2024-5-17", "x"})
        EXPECT_EQ(shownAfter(9000, later), 7000);
    EXPECT_TRUE(log.contains("Ignoring stale server today_total: incoming date 2024-05-15 < current 2024-05-16"));
    EXPECT_TRUE(log.contains("Server today_date changed 2024-05-15(50s) → 2024-05-16(7000s); local reset"));
    EXPECT_EQ(shownAfterWork(60), 7060); // the history, counted anew, is not added on top
    EXPECT_EQ(shownAfter(60), 7060);
    world.machine.timeline.sleepMachine(2 * 86400);
    world.machine.power.didWake(); // on a new day, of which no server has spoken yet
    world.tick(0);
    EXPECT_EQ(shown(), 0);
    EXPECT_EQ(shownAfterWork(10), 10);
}

TEST_F(SessionToday, AddsNothingTwiceToTheFirstFigureOfADay) {
    shownAfter(5000);
    world.jumpTo("2024-05-16T09:00:00Z");
    EXPECT_EQ(shownAfterWork(100), 100);
    EXPECT_EQ(shownAfter(100, "2024-05-16"), 100);
    world.applyConfig(); // which counts anew
    EXPECT_EQ(shown(), 100);
}

TEST_F(SessionToday, ShowsNothingOfYesterdayAtAnyMoment) {
    world.jumpTo("2024-05-15T21:00:00Z");
    for (const bool isPaused : {true, false}) {
        world.start();
        world.tick(100);
        if (isPaused)
            engine().pauseTracking();
        world.machine.power.willSleep();
        world.tick(0);
        Seconds most = 0;
        const auto watch =
            QObject::connect(&engine(), &SessionManager::changed, [&] { most = std::max(most, shown()); });
        world.machine.timeline.sleepMachine(10 * 3600);
        world.machine.power.didWake();
        world.tick(5);
        QObject::disconnect(watch);
        EXPECT_NEAR(most, isPaused ? 0 : 5, 0.1);
        engine().stopTracking();
        world.jumpTo("2024-05-16T21:00:00Z");
    }
}

TEST_F(SessionToday, CountsASessionOnceWhoseRunningRowWasLeftBesideIt) {
    world.start();
    world.typeFor(1000);
    const Session running = world.session();
    engine().stopTracking();
    world.core->store.saveActiveSession(running);
    world.restart();
    EXPECT_EQ(shown(), 1000);
    EXPECT_FALSE(engine().interruptedSession());
}

TEST_F(SessionToday, CountsTheTwentyFifthHourOfADay) {
    world.config.appTimezone = "Europe/Berlin"; // puts its clocks back on October 27th
    world.applyConfig();
    world.jumpTo("2024-10-27T22:15:00Z");
    EXPECT_EQ(shownAfterWork(200), 200);
}

TEST_F(SessionToday, ForgetsTheFigureOfAnotherCompany) {
    EXPECT_EQ(shownAfter(20000), 20000);
    engine().recoverInterruptedSessionForCurrentDomain();
    EXPECT_EQ(shown(), 20000);
    world.signIn("https://b.test/api/v1/");
    world.applyConfig();
    EXPECT_EQ(shown(), 0);
}

TEST_F(SessionToday, FollowsTheConfigurationAndTheServersAnswers) {
    shownAfterWork(100);
    world.config.appTimezone = "Pacific/Kiritimati"; // there it is the 15th until 10:00 UTC
    world.config.todayTotalSeconds = 1234;           // without its day: not taken
    world.applyConfig();
    EXPECT_EQ(shown(), 100);
    world.jumpTo("2024-05-15T10:00:01Z");
    world.applyConfig();
    EXPECT_EQ(shown(), 0);
    world.config.todayDate = "2024-05-16";
    world.applyConfig();
    EXPECT_EQ(shown(), 1234);
    world.todayTotal = ServerTodayTotal{2000, "2024-05-16"};
    world.start();
    world.tick(10);
    EXPECT_NEAR(shown(), 2010, 2);
}

TEST_F(SessionToday, RatesTheLastFiveTrackedMinutes) {
    world.start();
    world.typeFor(75);
    world.tick(75);
    engine().pauseTracking();
    world.tick(100);
    EXPECT_EQ(engine().last5MinActivityRate(), 50); // of the seconds so far, not of 300, and of no pause
    resume();
    world.tick(150);
    EXPECT_EQ(engine().last5MinActivityRate(), 25);
    world.tick(1); // the 301st drops the first
    EXPECT_NEAR(*engine().last5MinActivityRate(), 74 / 3.0, 1e-9);
    engine().stopTracking();
    EXPECT_EQ(engine().last5MinActivityRate(), std::nullopt);
    world.start();
    world.tick(1);
    EXPECT_EQ(engine().last5MinActivityRate(), 0); // nothing of the earlier one
}

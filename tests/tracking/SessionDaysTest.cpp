// Midnight, in every state that a session can be in, and the machine's sleep and end.

#include "EngineFixture.h"
#include "LogCapture.h"

#include <gtest/gtest.h>

namespace {

struct SessionDays : testing::Test {
    EngineFixture world{"2024-05-15T23:50:00Z"};
    SessionManager& engine = world.engine();

    static Date at(const char* text) { return EngineFixture::at(text); }
    const TrackingInterval& lastInterval() { return world.session().intervals.back(); }
};

} // namespace

TEST_F(SessionDays, CutsARunningSessionInTwo) {
    world.start("p1", "First");
    world.machine.displays.picturesTaken = 0;
    const QUuid first = world.session().id;
    world.tick(0.3); // ticks fall beside the boundary
    engine.pauseTracking();
    engine.resumeTracking();
    LogCapture log;
    world.typeFor(600);
    EXPECT_EQ(log.count("Midnight rollover: session " + uuidText(first) + " completed"), 1);
    const Session old = world.finishedSessions().at(0);
    EXPECT_EQ(old.id, first);
    EXPECT_EQ(old.intervals.back().stoppedAt, at("2024-05-16T00:00:00Z") - 0.001);
    EXPECT_EQ(old.reportedTotalSeconds, 599);
    EXPECT_GT(old.keyboardCount, 590);
    const Session& next = world.session();
    EXPECT_NE(next.id, first);
    EXPECT_EQ(next.deviceId, old.deviceId);
    EXPECT_EQ(next.projectId, "p1");
    ASSERT_EQ(next.intervals.size(), 1);
    EXPECT_NEAR(next.intervals[0].startedAt - at("2024-05-16T00:00:00Z"), 0.3, 1e-6); // at the detection
    EXPECT_EQ(world.activeSessions().at(0).id, next.id);
    EXPECT_FALSE(world.mark(first));
    EXPECT_EQ(world.bodies("sessions/start").size(), 2);
    world.typeFor(10);
    EXPECT_NEAR(engine.todayTotalSeconds(), engine.elapsedSeconds(), 1e-6); // the old day's time is gone
    EXPECT_LE(engine.keyboardEvents(), 11);
    const auto heartbeats = world.bodies("sessions/heartbeat");

    EXPECT_EQ(std::ranges::count_if(heartbeats,
                                    [&](const QJsonObject& body) {
                                        return body.value("status") == QJsonValue("completed") &&
                                               body.value("session_uuid") == QJsonValue(uuidText(first));
                                    }),
              1);
    EXPECT_TRUE(engine.isCaptureEligible());
}

TEST_F(SessionDays, RollsAPausedSessionOverWithoutAnInterval) {
    world.start();
    world.tick(60);
    engine.pauseTracking();
    const Date paused = world.machine.clock.now();
    world.machine.displays.picturesTaken = 0;
    world.tick(3600);
    EXPECT_EQ(world.finishedSessions().at(0).intervals.back().stoppedAt, paused);
    EXPECT_EQ(world.finishedSessions().at(0).reportedTotalSeconds, 60);
    EXPECT_TRUE(world.session().intervals.empty());
    EXPECT_TRUE(engine.isPaused());
    EXPECT_EQ(world.machine.displays.picturesTaken, 0);
    const QUuid second = world.session().id;
    world.machine.input.happen(InputEventType::mouseMoved);
    engine.resumeTracking();
    world.tick(30);
    EXPECT_EQ(world.session().id, second); // no second rollover
    EXPECT_EQ(world.session().intervals.size(), 1);
    EXPECT_EQ(engine.elapsedSeconds(), 30);
}

TEST_F(SessionDays, StopsAPausedRolloverWithNothing) {
    world.start();
    engine.pauseTracking();
    world.tick(3600);
    engine.stopTracking();
    EXPECT_EQ(world.finishedSessions().back().reportedTotalSeconds, 0);
}

TEST_F(SessionDays, ResumesYesterdaysPauseInANewSession) {
    world.start();
    world.tick(60);
    const QUuid first = world.session().id;
    engine.pauseTracking();
    world.jumpTo("2024-05-16T08:00:00Z"); // no tick has seen it yet
    engine.resumeTracking();
    EXPECT_NE(world.session().id, first);
    ASSERT_EQ(world.session().intervals.size(), 1);
    EXPECT_EQ(lastInterval().startedAt, at("2024-05-16T08:00:00Z"));
    EXPECT_FALSE(engine.isPaused());
}

TEST_F(SessionDays, DropsTheIdleQuestionAtMidnight) {
    world.start();
    world.tick(301);
    EXPECT_TRUE(engine.isIdle());
    world.machine.input.happen(InputEventType::keyDown);
    world.tick(5);
    EXPECT_TRUE(engine.needsIdleDecision());
    world.tick(600);
    EXPECT_FALSE(engine.needsIdleDecision());
    EXPECT_FALSE(engine.isIdle());
    EXPECT_TRUE(engine.isPaused()); // a plain pause now
    EXPECT_EQ(world.finishedSessions().at(0).reportedTotalSeconds, 0);
}

TEST_F(SessionDays, FollowsTheCompanysDayNotTheMachines) {
    EngineFixture tokyo("2024-05-15T14:59:00Z", "America/New_York");
    tokyo.config.appTimezone = "Asia/Tokyo"; // midnight there is 15:00 UTC
    tokyo.applyConfig();
    tokyo.start();
    tokyo.tick(120);
    ASSERT_EQ(tokyo.finishedSessions().size(), 1);
    EXPECT_EQ(tokyo.finishedSessions()[0].intervals.back().stoppedAt, at("2024-05-15T15:00:00Z") - 0.001);
    tokyo.jumpTo("2024-05-16T04:00:30Z"); // midnight in New York is nothing
    tokyo.tick(5);
    EXPECT_EQ(tokyo.finishedSessions().size(), 1);
}

TEST_F(SessionDays, SurvivesAClockSetToAnyDay) {
    for (const double jump : {-1.0, 1.0, -3600.0, -86400.0, 86400.0, -315e6, 315e6, 315e6 * 20}) {
        world.start();
        world.tick(30);
        world.machine.timeline.jumpWallClock(jump);
        world.tick(30);
        EXPECT_TRUE(engine.isTracking());
        EXPECT_GE(engine.elapsedSeconds(), 0);
        EXPECT_GE(engine.todayTotalSeconds(), 0);
        engine.stopTracking();
        for (const Session& session : world.finishedSessions())
            EXPECT_GE(session.reportedTotalSeconds, 0);
    }
}

TEST_F(SessionDays, DoesNotBillSleep) {
    world.start();
    world.tick(60);
    world.sleepMachine(200);
    EXPECT_FALSE(engine.isPaused());
    world.tick(40);
    EXPECT_EQ(engine.elapsedSeconds(), 100);
    EXPECT_EQ(world.session().intervals.size(), 2);

    const QUuid first = world.session().id;
    world.sleepMachine(8 * 3600); // through midnight
    world.machine.input.happen(InputEventType::mouseMoved);
    world.tick(10);
    EXPECT_EQ(world.finishedSessions().at(0).id, first);
    EXPECT_EQ(world.finishedSessions().at(0).reportedTotalSeconds, 100);
    EXPECT_EQ(engine.elapsedSeconds(), 10);
    EXPECT_FALSE(engine.isPaused());
}

TEST_F(SessionDays, LeavesAPauseAloneInSleep) {
    world.start();
    world.tick(60);
    engine.pauseTracking();
    world.sleepMachine(60);
    EXPECT_TRUE(engine.isPaused());
    world.sleepMachine(3600); // rolls over at the wake, stays paused
    EXPECT_TRUE(engine.isPaused());
    EXPECT_TRUE(world.session().intervals.empty());
}

TEST_F(SessionDays, WaitsForThePersonWhenTheWakeIsLost) {
    world.start();
    world.tick(60);
    world.machine.power.willSleep();
    world.machine.timeline.settle();
    world.machine.timeline.sleepMachine(100);
    world.tick(200);
    EXPECT_EQ(engine.elapsedSeconds(), 60);
    EXPECT_TRUE(engine.isPaused());
    world.machine.input.happen(InputEventType::mouseMoved);
    engine.resumeTracking();
    world.tick(10);
    EXPECT_EQ(engine.elapsedSeconds(), 70);
}

TEST_F(SessionDays, ClosesTheIntervalBeforeTheProcessEnds) {
    world.start();
    world.tick(45.5);
    LogCapture log;
    const Date end = world.machine.clock.now();
    world.machine.power.willTerminate(); // done when it returns
    EXPECT_TRUE(log.contains("Tracking interval closed on app termination"));
    EXPECT_EQ(world.activeSessions().at(0).intervals.back().stoppedAt, end);
    EXPECT_TRUE(world.finishedSessions().empty());
    world.restart();
    world.tick(60);
    world.engine().resumeInterruptedSession();
    world.tick(4.5);
    world.engine().stopTracking();
    EXPECT_EQ(world.finishedSessions().at(0).reportedTotalSeconds, 50);
}

TEST_F(SessionDays, WritesNothingWhenItEndsPaused) {
    world.start();
    engine.pauseTracking();
    const auto stored = world.activeSessions();
    LogCapture log;
    world.tick(5);
    world.machine.power.willTerminate();
    EXPECT_FALSE(log.contains("Tracking interval closed"));
    EXPECT_EQ(world.activeSessions(), stored);
}

TEST_F(SessionDays, WakesWithoutTouchingAPendingSession) {
    world.start();
    world.restart();
    EXPECT_TRUE(world.engine().interruptedSession());
    world.sleepMachine(3600);
    EXPECT_TRUE(world.engine().interruptedSession());
    EXPECT_FALSE(world.engine().isTracking());
}

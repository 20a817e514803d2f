// The running session at midnight.

#include "EngineTest.h"

namespace {

struct SessionRollover : EngineTest {};

} // namespace

TEST_F(SessionRollover, CutsARunningSessionInTwoAtMidnight) {
    startAt("2024-05-15T23:50:00Z");
    engine().selectProject("p2");
    engine().pauseTracking();
    world.tick(0.3); // ticks fall beside the boundary
    resume();
    engine().applyServerTodayTotal({9000, "2024-05-16"}); // ahead of this clock
    world.typeFor(350), world.tick(100), world.typeFor(100);
    const Session old = lastFinished();
    EXPECT_EQ(old.intervals.back().stoppedAt, at("2024-05-16T00:00:00Z") - 0.001);
    EXPECT_GT(old.keyboardCount, 430);
    EXPECT_FALSE(world.mark(old.id));
    const Session next = world.session();
    EXPECT_EQ(next.deviceId + next.projectName, old.deviceId + "First");
    EXPECT_EQ(engine().selectedProjectId(), "p1");
    EXPECT_EQ(next.intervals.at(0).startedAt, at("2024-05-16T00:00:00Z"));      // a tick came 0.3 s later
    EXPECT_NEAR(engine().todayTotalSeconds(), engine().elapsedSeconds(), 1e-6); // nothing of before
    EXPECT_LE(engine().keyboardEvents(), 11);
    EXPECT_EQ(engine().last5MinActivityRate(), 100);
    const int pictures = world.machine.displays.picturesTaken;
    world.typeFor(60);
    EXPECT_EQ(world.machine.displays.picturesTaken, pictures + 1); // a schedule of its own
}

TEST_F(SessionRollover, RollsAPausedSessionOverWithoutAnInterval) {
    startAt("2024-05-15T23:50:00Z");
    engine().pauseTracking();
    const Date paused = now();
    world.tick(3600);
    EXPECT_EQ(lastFinished().intervals.back().stoppedAt, paused);
    EXPECT_TRUE(world.session().intervals.empty());
    EXPECT_TRUE(engine().isPaused());
    EXPECT_EQ(world.session().projectId, lastFinished().projectId);
    resume();
    EXPECT_EQ(world.activeSessions(), std::vector{world.session()});
    world.tick(30);
    EXPECT_EQ(world.finishedSessions().size(), 1); // no second rollover
    EXPECT_EQ(engine().elapsedSeconds(), 30);
    engine().pauseTracking();
    world.machine.timeline.sleepMachine(86400);
    world.machine.power.didWake(); // on the third day; no wake ends this pause
    world.machine.timeline.settle();
    EXPECT_TRUE(engine().isPaused());
    engine().stopTracking();
    EXPECT_EQ(lastTotal(), 0);
}

TEST_F(SessionRollover, ReportsASessionThatBeganPausedFromItsFirstIntervalOn) {
    startAt("2024-05-15T23:50:00Z");
    engine().pauseTracking();
    const std::string first = runningId();
    world.tick(3600);
    const std::string second = runningId();
    EXPECT_EQ(sessionsNamed("sessions/start"), std::set{first});
    resume();
    world.tick(10);
    engine().pauseTracking();
    world.tick(86400);
    engine().stopTracking(); // the third, which never ran
    world.tick(1);
    EXPECT_EQ(sessionsNamed("sessions/start"), (std::set{first, second}));
    EXPECT_EQ(sessionsNamed("sessions/heartbeat"), (std::set{first, second}));
}

TEST_F(SessionRollover, ClosesOnTheNewDayAfterAMidnightThatNoTickHasSeen) {
    const Date midnight = at("2024-05-16T00:00:00Z");
    const std::pair<const char*, std::function<void()>> closings[] = {
        {"pause", [&] { engine().pauseTracking(); }},
        {"stop", [&] { engine().stopTracking(); }},
        {"take-over", [&] { engine().handleSessionTakenOver(world.session().id); }},
        {"sleep", [&] { world.machine.power.willSleep(); }},
        {"unannounced sleep", [&] { world.machine.timeline.sleepMachine(3600), world.tick(1); }},
        {"termination", [&] { world.machine.power.willTerminate(); }},
        {"idleness", [&] { world.core->idleDetector.start(1); }},
    };
    for (const auto& [name, close] : closings) {
        SCOPED_TRACE(name);
        startAt("2024-05-15T23:57:00Z");
        engine().pauseTracking();
        world.tick(0.3); // ticks fall beside the boundary
        resume();
        world.tick(119.9);
        close();
        world.tick(0);
        EXPECT_EQ(engine().isIdle(), name == std::string("idleness"));
        std::vector<Session> all = world.finishedSessions();
        std::ranges::copy(world.activeSessions(), std::back_inserter(all));
        const Session& before = all.at(all.size() - 2);
        EXPECT_EQ(before.intervals.back().stoppedAt, midnight - 0.001);
        const TrackingInterval after = all.back().intervals.at(0);
        EXPECT_EQ(after.startedAt, midnight);
        EXPECT_NEAR(after.stoppedAt.value() - midnight, 0.25, 0.06);
        engine().stopTracking();
        world.tick(1);
        EXPECT_EQ(endsReported(before.id), 1);
        EXPECT_EQ(endsReported(all.back().id), 1);
    }
}

TEST_F(SessionRollover, LeavesASessionWholeWhoseClockSlewsBackOverMidnight) {
    startAt("2024-05-15T23:59:00Z");
    world.tick(0.3);
    const QUuid id = world.session().id;
    world.machine.timeline.jumpWallClock(-0.5);
    engine().pauseTracking();
    EXPECT_EQ(world.session().id, id);
}

TEST_F(SessionRollover, KeepsWhatRanSinceAMidnightThatMovedBack) {
    for (const bool isKilled : {false, true}) {
        startAt("2024-05-15T20:00:00Z");
        world.typeFor(7200);
        world.config.appTimezone = "Europe/Moscow"; // since 21:00 UTC it is tomorrow there
        world.applyConfig();
        world.tick(2);
        EXPECT_NEAR(lastTotal(), 3600, 1);
        EXPECT_NEAR(engine().elapsedSeconds(), 3662, 1);
        if (isKilled) {
            world.restart(), touch();
            engine().resumeInterruptedSession();
        } else {
            world.tick(305); // idle
        }
        engine().stopTracking();
        EXPECT_NEAR(lastTotal(), 3661, 2);
        world.config.appTimezone = "UTC";
        world.applyConfig();
    }
}

// Start, pause, resume, stop, what stops a session by force, and what a capture does to it.

#include "EngineTest.h"
#include "storage/PreferenceStores.h"

namespace {

struct SessionLifecycle : EngineTest {
    enum State { stopped, running, paused };
    void expectState(State state) {
        EXPECT_EQ(engine().isTracking(), state != stopped);
        EXPECT_EQ(engine().isPaused(), state == paused);
        EXPECT_EQ(engine().isCaptureEligible(), state == running);
        EXPECT_EQ(world.machine.input.openTaps(), state == running);
        EXPECT_EQ(engine().currentSession().has_value(), state != stopped);
        EXPECT_EQ(state != stopped && !world.session().intervals.back().stoppedAt, state == running);
    }
    /// How many heartbeats of a running session the server got.
    qint64 activeReports() {
        return std::ranges::count_if(world.bodies("sessions/heartbeat"),
                                     [](const QJsonObject& body) { return body.value("status") == "active"; });
    }
};

} // namespace

TEST_F(SessionLifecycle, StartsAndEndsAndCountsRunningTimeOnly) {
    world.typeFor(3); // before the start: not this session's
    world.start("p1", "First");
    expectState(running);
    const Session session = world.session();
    EXPECT_EQ(session.projectName, "First");
    EXPECT_EQ(session.deviceId, DeviceIdProvider::current(world.machine.preferences, world.machine.random));
    EXPECT_EQ(engine().selectedProjectId(), "p1");
    EXPECT_EQ(world.activeSessions(), std::vector{session});
    engine().startTracking(RemoteProject{"p2", "Second"});
    EXPECT_EQ(world.session(), session); // a second start changes nothing
    world.typeFor(30);
    world.tick(30.5);
    EXPECT_EQ(world.mark(session.id), at("2024-05-15T09:01:03Z")); // a sign of life each running minute
    EXPECT_EQ(engine().keyboardEvents(), 30);

    engine().pauseTracking();
    expectState(paused);
    const Date whenPaused = now();
    world.typeFor(5); // neither these keys nor this hour count
    world.tick(3600);
    EXPECT_EQ(world.mark(session.id), whenPaused);
    EXPECT_EQ(engine().elapsedSeconds(), 60.5);
    resume();
    expectState(running);
    EXPECT_EQ(world.mark(session.id), now());
    world.tick(61.25);
    EXPECT_EQ(world.machine.displays.picturesTaken, 1); // a minute after the start; the next is not due
    engine().stopTracking();
    EXPECT_EQ(lastFinished().totalSeconds(now()), 121.75);
    EXPECT_EQ(lastTotal(), 121);
    EXPECT_EQ(lastFinished().keyboardCount, 30);
    EXPECT_NEAR(lastFinished().activityScore, 100 * 30 / 121.75, 1);

    world.start();
    EXPECT_EQ(engine().selectedProjectId(), "");
    engine().stopTracking();
    EXPECT_EQ(lastFinished().activityScore, 0); // no division by no time
}

TEST_F(SessionLifecycle, RefusesToStartWithoutPermissions) {
    const auto refusal = [this](const std::deque<bool>& screenAnswers, bool seesInput) {
        world.machine.permissions.queuedScreenAnswers = screenAnswers;
        world.machine.permissions.inputMonitoring = seesInput ? 0 : 1;
        world.start();
        expectState(stopped);
        return world.message();
    };
    EXPECT_EQ(refusal({false}, true), "Required permissions are not granted.");
    EXPECT_EQ(refusal({true}, false), "Required permissions are not granted.");
    EXPECT_FALSE(engine().screenRecordingPermissionLost());
    EXPECT_EQ(refusal({true, false}, true), "Screen recording permission is required to start tracking.");
    world.restart();
    EXPECT_TRUE(engine().screenRecordingPermissionLost()); // outlives the process
    world.machine.input.isAvailable = false;               // but no events at all are no reason to refuse
    world.start();
    world.tick(3600);
    EXPECT_EQ(engine().elapsedSeconds(), 3600); // nobody watches for idleness
}

TEST_F(SessionLifecycle, TellsWhyItStopped) {
    const auto after = [this](const std::function<void()>& end, int reports = 1) {
        for (const bool isPaused : {false, true}) {
            world.start();
            world.tick(90);
            const QUuid id = world.session().id;
            if (isPaused)
                engine().pauseTracking(), world.tick(60);
            end();
            expectState(stopped);
            EXPECT_EQ(lastFinished().id, id);
            EXPECT_EQ(lastTotal(), 90);
            EXPECT_TRUE(world.activeSessions().empty());
            EXPECT_FALSE(world.mark(id));
            world.tick(1);
            EXPECT_EQ(endsReported(id), reports);
        }
        return world.message();
    };
    EXPECT_EQ(after([this] { engine().stopTracking(); }), "");
    EXPECT_EQ(after([this] { engine().stopTracking("why"); }), "Tracking stopped: why");
    EXPECT_EQ(after([this] { engine().handleForceUpdateRequired(); }), "Tracking stopped: Update required");
    EXPECT_EQ(after([this] { engine().handleSessionTakenOver(world.session().id); }, 0),
              "Session was resumed on another device.");
    EXPECT_EQ(after([this] { engine().handleScreenRecordingPermissionLost(); }),
              "Tracking stopped: screenRecordingRevoked");
    engine().handleScreenRecordingPermissionLost(); // nothing runs, so its words last
    engine().stopTracking("why");
    EXPECT_EQ(world.message(), "Screen recording permission was revoked.");
}

TEST_F(SessionLifecycle, SendsPicturesOnlyAfterAnAcceptedHeartbeat) {
    world.config.screenshotIntervalMinutes = -3; // counts as 1
    world.applyConfig();
    for (const int status : {500, 200}) {
        world.status = 200;
        world.start();
        world.status = status;
        world.typeFor(125);
        EXPECT_EQ(world.activeSessions().at(0).keyboardCount, 120); // saved whatever became of the heartbeat
        EXPECT_EQ(world.bodies("sessions/heartbeat").back().value("status").toString(), "active");
        EXPECT_EQ(world.bodies("/screenshots").size(), status == 200 ? 2 : 0);
        engine().stopTracking();
        world.tick(1);
        world.sql("DELETE FROM upload_queue");
        world.machine.urlSession.requests.clear();
    }
    world.start();
    world.machine.permissions.screenRecording = false; // the picture source refuses
    world.tick(61);
    EXPECT_EQ(world.message(), "Tracking stopped: screenRecordingRevoked");
    engine().handleCaptureComplete();                       // came too late,
    EXPECT_FALSE(engine().screenRecordingPermissionLost()); // but a picture proves the permission
}

TEST_F(SessionLifecycle, TakesPicturesAndReportsOncePerIntervalOfRunningTimeOverPauses) {
    world.applyConfig();
    world.start();
    for (int minute = 0; minute < 60; ++minute) { // 3,300 seconds run
        world.typeFor(55);
        engine().pauseTracking();
        world.tick(1);
        resume();
    }
    EXPECT_EQ(world.machine.displays.picturesTaken, 6); // at 60, 660, ... 3060
    EXPECT_EQ(activeReports(), 6);
}

TEST_F(SessionLifecycle, ReportsOncePerIntervalAlsoWithoutAPicture) {
    world.applyConfig();
    world.machine.displays.failingEncodings = {1};
    world.start();
    world.typeFor(1270);
    EXPECT_EQ(activeReports(), 3);
    EXPECT_FALSE(engine().screenRecordingPermissionLost());

    world.machine.displays.streams = true; // a stream that delivers nothing fails after five seconds
    world.typeFor(592);
    engine().pauseTracking(); // the picture of 1,860 seconds is under way
    world.tick(30);
    EXPECT_EQ(activeReports(), 3);
    resume();
    world.tick(1);
    EXPECT_EQ(activeReports(), 4);
}

TEST_F(SessionLifecycle, KeepsAProjectThatTheServerStillKnows) {
    const auto selectedAmong = [this](const char* selected, const std::vector<RemoteProject>& projects) {
        engine().selectProject(selected);
        world.config.projects = projects;
        world.applyConfig();
        return engine().selectedProjectId();
    };
    EXPECT_EQ(selectedAmong("p2", {{"p1", "First"}, {"p2", "Second"}}), "p2");
    EXPECT_EQ(selectedAmong("p2", {{"p1", "First"}, {"p3", "Third"}}), "p1");
    EXPECT_EQ(selectedAmong("p2", {}), "p2");
}

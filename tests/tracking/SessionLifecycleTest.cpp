// Start, pause, resume, stop and what stops a session by force.

#include "EngineFixture.h"
#include "LogCapture.h"
#include "PreferenceStores.h"

#include <gtest/gtest.h>

namespace {

constexpr auto heartbeats = "sessions/heartbeat";
constexpr auto starts = "sessions/start";

struct SessionLifecycle : testing::Test {
    EngineFixture world;
    SessionManager& engine = world.engine();

    qint64 completedHeartbeats() {
        return std::ranges::count(world.bodies(heartbeats), QJsonValue("completed"),
                                  [](const QJsonObject& body) { return body.value("status"); });
    }
    void expectState(bool tracking, bool paused, bool idle, bool openInterval, bool tracker) {
        EXPECT_EQ(engine.isTracking(), tracking);
        EXPECT_EQ(engine.isPaused(), paused);
        EXPECT_EQ(engine.isIdle(), idle);
        EXPECT_EQ(engine.isCaptureEligible(), tracking && !paused && !idle);
        EXPECT_EQ(engine.currentSession().has_value(), tracking);
        EXPECT_EQ(tracking && !engine.currentSession()->intervals.back().stoppedAt, openInterval);
        EXPECT_EQ(world.machine.input.openTaps(), tracker ? 1 : 0);
    }
};

} // namespace

TEST_F(SessionLifecycle, GoesThroughItsStates) {
    expectState(false, false, false, false, false);
    world.start("p1", "First");
    expectState(true, false, false, true, true);
    engine.pauseTracking();
    expectState(true, true, false, false, false);
    engine.pauseTracking(); // nothing more
    engine.resumeTracking();
    expectState(true, false, false, true, true);
    engine.resumeTracking();
    EXPECT_EQ(world.session().intervals.size(), 2);
    world.machine.power.willSleep();
    world.machine.timeline.settle();
    expectState(true, true, false, false, false);
    world.machine.power.didWake();
    world.machine.timeline.settle();
    expectState(true, false, false, true, true);
    engine.stopTracking();
    expectState(false, false, false, false, false);
}

TEST_F(SessionLifecycle, StartsWithAFreshSession) {
    world.typeFor(3); // before the start: not this session's
    world.start("p1", "First");
    const Session& session = world.session();
    EXPECT_EQ(session.projectId, "p1");
    EXPECT_EQ(session.projectName, "First");
    EXPECT_EQ(session.deviceId, DeviceIdProvider::current(world.machine.preferences, world.machine.random));
    EXPECT_EQ(session.intervals.front().startedAt, world.machine.clock.now());
    EXPECT_EQ(engine.selectedProjectId(), "p1");
    EXPECT_EQ(world.activeSessions(), std::vector{session});
    world.tick(1);
    ASSERT_EQ(world.bodies(starts).size(), 1);
    EXPECT_EQ(world.bodies(starts)[0].value("session_uuid"), uuidText(session.id));
    world.typeFor(2);
    world.tick(10);
    EXPECT_EQ(engine.keyboardEvents(), 2);

    const Session running = session;
    engine.startTracking(RemoteProject{"p2", "Second"});
    EXPECT_EQ(world.session(), running); // a second start changes nothing
    engine.stopTracking();
    world.start();
    EXPECT_EQ(engine.selectedProjectId(), "");
    EXPECT_EQ(world.session().projectName, "");
    world.tick(5);
    EXPECT_EQ(engine.keyboardEvents(), 0);
}

TEST_F(SessionLifecycle, RefusesToStartWithoutPermissions) {
    world.machine.permissions.screenRecording = false;
    world.start();
    EXPECT_EQ(world.message(), "Required permissions are not granted.");
    EXPECT_FALSE(engine.screenRecordingPermissionLost());
    world.machine.permissions.screenRecording = true;
    world.machine.permissions.inputMonitoring = 1;
    world.start();
    EXPECT_EQ(world.message(), "Required permissions are not granted.");
    EXPECT_FALSE(engine.isTracking());
}

TEST_F(SessionLifecycle, RefusesWhenTheSecondProbeFails) {
    world.machine.permissions.queuedScreenAnswers = {true, false};
    world.start();
    EXPECT_EQ(world.message(), "Screen recording permission is required to start tracking.");
    EXPECT_TRUE(engine.screenRecordingPermissionLost());
    EXPECT_EQ(world.machine.preferences.boolean("screenRecordingPermissionLost"), true);
    world.restart();
    EXPECT_TRUE(world.engine().screenRecordingPermissionLost()); // outlives the process
    world.engine().dismissPermissionLost();
    EXPECT_EQ(world.machine.preferences.boolean("screenRecordingPermissionLost"), false);
}

TEST_F(SessionLifecycle, CountsRunningTimeOnly) {
    world.start();
    world.tick(100);
    EXPECT_EQ(engine.elapsedSeconds(), 100);
    engine.pauseTracking();
    world.typeFor(5); // while paused: not counted
    world.tick(3600);
    EXPECT_EQ(engine.elapsedSeconds(), 100);
    EXPECT_EQ(engine.keyboardEvents(), 0);
    EXPECT_EQ(engine.last5MinActivityRate(), 0);
    world.machine.input.happen(InputEventType::mouseMoved);
    engine.resumeTracking();
    world.tick(50.5);
    engine.pauseTracking();
    world.tick(500);
    engine.stopTracking(); // keeps the end of the pause's interval
    const Session stopped = world.finishedSessions().at(0);
    EXPECT_EQ(stopped.reportedTotalSeconds, 150);
    EXPECT_EQ(stopped.totalSeconds(world.machine.clock.now()), 150.5);
    EXPECT_EQ(engine.todayTotalSeconds(), 150);
    EXPECT_EQ(engine.elapsedSeconds(), 0);
}

TEST_F(SessionLifecycle, FilesAStoppedSessionAndReportsItsEnd) {
    world.start("p1", "First");
    world.typeFor(30);
    world.tick(30);
    const QUuid id = world.session().id;
    world.tick(1); // the 60th running second has left its mark
    EXPECT_TRUE(world.mark(id));
    engine.stopTracking();
    const QStringList queued = world.sql("SELECT type FROM upload_queue");
    EXPECT_EQ(queued, QStringList{"heartbeat"}); // on disk before anything else runs
    EXPECT_TRUE(world.activeSessions().empty());
    EXPECT_FALSE(world.mark(id));
    const Session stopped = world.finishedSessions().at(0);
    EXPECT_EQ(stopped.status, SessionStatus::completed);
    EXPECT_EQ(stopped.reportedTotalSeconds, 61);
    EXPECT_EQ(stopped.keyboardCount, 30);
    EXPECT_NEAR(stopped.activityScore, 100 * 30 / 61.0, 2);
    world.tick(1);
    EXPECT_EQ(completedHeartbeats(), 1);
    EXPECT_EQ(world.bodies(heartbeats).back().value("total_seconds"), 61);
}

TEST_F(SessionLifecycle, FinishesAnInstantWithoutDividingByZero) {
    world.start();
    engine.stopTracking();
    EXPECT_EQ(world.finishedSessions().at(0).reportedTotalSeconds, 0);
    EXPECT_EQ(world.finishedSessions().at(0).activityScore, 0);
}

TEST_F(SessionLifecycle, MarksItselfAliveEachMinuteOfRunning) {
    world.start();
    const QUuid id = world.session().id;
    world.tick(59.5);
    EXPECT_FALSE(world.mark(id));
    world.tick(1);
    EXPECT_EQ(world.mark(id), EngineFixture::at("2024-05-15T09:01:00Z"));
    engine.pauseTracking();
    EXPECT_EQ(world.mark(id), world.machine.clock.now());
    const Date paused = world.machine.clock.now();
    world.tick(600);
    EXPECT_EQ(world.mark(id), paused); // no sign of life while paused
    engine.resumeTracking();
    EXPECT_EQ(world.mark(id), world.machine.clock.now());
}

TEST_F(SessionLifecycle, TellsWhyItStopped) {
    const struct {
        std::function<void()> end;
        const char* message;
        int completedHeartbeats;
        bool permissionLost;
    } cases[] = {
        {[this] { engine.stopTracking(); }, "", 1, false},
        {[this] { engine.stopTracking("why"); }, "Tracking stopped: why", 1, false},
        {[this] { engine.handleForceUpdateRequired(); }, "Tracking stopped: Update required", 1, false},
        {[this] { engine.handleScreenRecordingPermissionLost(); }, "Tracking stopped: screenRecordingRevoked",
         1, true},
        {[this] { engine.handleSessionTakenOver(); }, "Session was resumed on another device.", 0, false},
    };
    for (const bool isPaused : {false, true}) {
        for (const auto& c : cases) {
            world.machine.urlSession.requests.clear();
            engine.dismissPermissionLost();
            world.start();
            world.tick(90);
            if (isPaused)
                engine.pauseTracking();
            const QUuid id = world.session().id;
            c.end();
            expectState(false, false, false, false, false);
            world.tick(1);
            EXPECT_EQ(world.message(), c.message);
            EXPECT_EQ(engine.screenRecordingPermissionLost(), c.permissionLost);
            EXPECT_EQ(world.finishedSessions().back().id, id);
            EXPECT_EQ(world.finishedSessions().back().reportedTotalSeconds, 90);
            EXPECT_TRUE(world.activeSessions().empty());
            EXPECT_FALSE(world.mark(id));
            EXPECT_EQ(completedHeartbeats(), c.completedHeartbeats);
        }
    }
}

TEST_F(SessionLifecycle, LeavesEverythingAloneWithoutASession) {
    engine.handleScreenRecordingPermissionLost();
    EXPECT_EQ(world.message(), "Screen recording permission was revoked."); // nothing ran, so the words last
    int changes = 0;
    QObject::connect(&engine, &SessionManager::changed, &engine, [&] { ++changes; });
    engine.stopTracking("why");
    engine.handleSessionTakenOver();
    engine.handleForceUpdateRequired();
    engine.pauseTracking();
    engine.resumeTracking();
    engine.handleWillSleep();
    engine.handleWillTerminate();
    EXPECT_EQ(world.message(), "Screen recording permission was revoked.");
    EXPECT_EQ(changes, 0);
    EXPECT_TRUE(world.finishedSessions().empty());
}

TEST_F(SessionLifecycle, AnnouncesEachOperationOnce) {
    int changes = 0;
    QObject::connect(&engine, &SessionManager::changed, &engine, [&] { ++changes; });
    engine.startTracking(std::nullopt);
    EXPECT_EQ(changes, 1);
    changes = 0;
    world.tick(1.5); // one tick of the engine, one of the five-minute rate
    EXPECT_LE(changes, 2);
    EXPECT_GE(changes, 1);
    engine.pauseTracking();
    world.tick(5);
    changes = 0;
    world.tick(60);
    EXPECT_EQ(changes, 0); // nothing moves while paused
    engine.handleScreenRecordingPermissionLost();
    EXPECT_EQ(changes, 1);
}

TEST_F(SessionLifecycle, GoesOnWithoutInputEvents) {
    world.machine.input.isAvailable = false;
    world.start();
    EXPECT_TRUE(engine.isTracking());
    EXPECT_EQ(world.message(), "");
    world.tick(3600);
    EXPECT_FALSE(engine.isPaused()); // nobody watches for idleness
    EXPECT_EQ(engine.elapsedSeconds(), 3600);
}

TEST_F(SessionLifecycle, SendsPicturesOnlyAfterAnAcceptedHeartbeat) {
    for (const int status : {500, 200}) {
        world.status = status;
        world.start();
        world.typeFor(59);
        const auto before = world.bodies(heartbeats).size();
        world.typeFor(6);
        EXPECT_EQ(world.session().keyboardCount, 60);
        EXPECT_EQ(world.activeSessions().at(0).keyboardCount, 60); // saved whatever became of the heartbeat
        ASSERT_EQ(world.bodies(heartbeats).size(), before + 1);
        EXPECT_EQ(world.bodies(heartbeats).back().value("status"), "active");
        EXPECT_EQ(world.bodies("/screenshots").size(), status == 200 ? 1 : 0);
        engine.stopTracking();
        world.sql("DELETE FROM upload_queue");
        world.tick(5);
    }
}

TEST_F(SessionLifecycle, ClampsTheScreenshotInterval) {
    const struct {
        std::optional<qint64> minutes;
        int picturesInAnHour;
    } cases[] = {{std::nullopt, 12}, {10, 6}, {1, 60}, {0, 60}, {-3, 60}};
    for (const auto& c : cases) {
        world.config.screenshotIntervalMinutes = c.minutes.value_or(0);
        engine.applyConfig(c.minutes ? std::optional(world.config) : std::nullopt);
        world.start();
        world.machine.displays.picturesTaken = 0;
        for (int i = 0; i < 60; ++i) {
            world.tick(59.5);
            world.machine.input.happen(InputEventType::keyDown);
            world.tick(0.5);
        }
        EXPECT_EQ(world.machine.displays.picturesTaken, c.picturesInAnHour);
        engine.stopTracking();
    }
}

TEST_F(SessionLifecycle, SkipsACaptureThatCameTooLate) {
    world.start();
    engine.handleScreenRecordingPermissionLost();
    LogCapture log;
    engine.handleCaptureComplete();
    EXPECT_FALSE(engine.screenRecordingPermissionLost()); // a picture proves the permission
    EXPECT_TRUE(log.contains("handleCaptureComplete skipped: session=false, tracking=false, paused=false"));
    world.start();
    engine.pauseTracking();
    engine.handleCaptureComplete();
    EXPECT_TRUE(log.contains("handleCaptureComplete skipped: session=true, tracking=true, paused=true"));
    world.tick(1);
    EXPECT_EQ(world.bodies(heartbeats).size(), 1); // the first session's end
}

TEST_F(SessionLifecycle, StopsWhenThePictureSourceRefuses) {
    world.start();
    world.tick(59);
    world.machine.permissions.screenRecording = false;
    world.tick(2);
    EXPECT_FALSE(engine.isTracking());
    EXPECT_EQ(world.message(), "Tracking stopped: screenRecordingRevoked");
    EXPECT_TRUE(engine.screenRecordingPermissionLost());
}

TEST_F(SessionLifecycle, KeepsAProjectThatTheServerStillKnows) {
    const struct {
        const char* selected;
        std::vector<RemoteProject> projects;
        const char* expected;
    } cases[] = {
        {"p2", {{"p1", "First"}, {"p2", "Second"}}, "p2"},
        {"p2", {{"p1", "First"}, {"p3", "Third"}}, "p1"},
        {"p2", {}, "p2"},
        {"", {{"p1", "First"}}, ""},
    };
    for (const auto& c : cases) {
        engine.selectProject(QString::fromLatin1(c.selected));
        world.config.projects = c.projects;
        engine.applyConfig(world.config);
        EXPECT_EQ(engine.selectedProjectId(), c.expected);
    }
    world.config.appTimezone = "Asia/Tokyo";
    engine.applyConfig(world.config);
    EXPECT_EQ(world.machine.preferences.string(PreferenceKey::apiTimezoneIdentifier), "Asia/Tokyo");
    EXPECT_EQ(engine.engineTimeZone().id(), "Asia/Tokyo");
    for (const char* unknown : {"", "Nowhere/City"}) {
        world.config.appTimezone = QString::fromLatin1(unknown);
        engine.applyConfig(world.config);
        world.machine.timeline.setZone("Europe/Berlin");
        EXPECT_EQ(engine.engineTimeZone().id(), "Europe/Berlin");
        world.machine.timeline.setZone("America/New_York"); // the person travels
        EXPECT_EQ(engine.engineTimeZone().id(), "America/New_York");
    }
    engine.applyConfig(std::nullopt);
    world.machine.preferences.set(PreferenceKey::apiTimezoneIdentifier, "Asia/Kolkata");
    EXPECT_EQ(engine.engineTimeZone().id(), "Asia/Kolkata");
}

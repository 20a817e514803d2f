// The core as one: boot, keyring, power, what the pipeline and the authentication tell, what the person is
// asked.

#include "EngineFixture.h"
#include "PreferenceStores.h"

#include <QFile>
#include <gtest/gtest.h>

namespace {
struct Core : testing::Test {
    EngineFixture world;

    TimeTrackerCore& core() { return *world.core; }
    SimulatedDesktop& desktop() { return world.machine.desktop; }
};
} // namespace

TEST_F(Core, BootsFromTheCachedConfigurationAndRefreshesIt) {
    world.config.appTimezone = "Asia/Tokyo";
    QFile cache(core().remoteConfig.fileURL());
    ASSERT_TRUE(cache.open(QFile::WriteOnly));
    cache.write(encodeRemoteConfig(world.config));
    cache.close();
    world.machine.preferences.remove(PreferenceKey::apiTimezoneIdentifier);
    world.die();
    world.core = std::make_unique<TimeTrackerCore>(world.machine.platform());
    EXPECT_EQ(core().timeZones.storedTimezoneIdentifier(), "Asia/Tokyo"); // before anything has run
    world.machine.timeline.settle();
    EXPECT_EQ(core().appState.remoteConfig(), world.config);
    world.config.idleMinutesThreshold = 9;
    world.tick(2500);
    EXPECT_EQ(world.engine().config(), world.config);
}

TEST_F(Core, WaitsForALockedKeyringAndAsksForItsUnlockOnce) {
    world.start();
    world.die(); // with a session to report
    world.machine.secrets.isLocked = true;
    world.machine.secrets.prompts = 0;
    world.launch();
    world.tick(600);
    EXPECT_TRUE(core().appState.authRestoreIsSlow());
    EXPECT_TRUE(core().appState.isRestoringSession()); // never taken for "signed out"
    EXPECT_EQ(world.machine.secrets.prompts, 1);
    world.machine.secrets.isLocked = false;
    world.tick(2);
    EXPECT_TRUE(core().appState.isAuthenticated());
}

TEST_F(Core, TakesAKeyringThatStopsAnsweringForBeingOffline) {
    MemorySecretStore& keyring = world.machine.secrets;
    const struct {
        bool isLocked;
        bool isUnlockedWhenAsked;
        int prompts;
    } cases[] = {{true, false, 1}, {false, false, 0}, {true, true, 1}};
    for (const auto& [isLocked, isUnlockedWhenAsked, prompts] : cases) {
        keyring.prompts = 0;
        keyring.unlocksWhenAsked = isUnlockedWhenAsked;
        keyring.isLocked = isLocked;
        keyring.isBroken = !isLocked;
        world.machine.urlSession.requests.clear();
        world.start();
        world.typeFor(1300); // queue, direct heartbeats, refresh of the configuration
        EXPECT_EQ(keyring.prompts, prompts);
        EXPECT_EQ(world.machine.urlSession.requests.empty(), !isUnlockedWhenAsked);
        EXPECT_TRUE(core().appState.isAuthenticated() && world.engine().isTracking());
        if (!isUnlockedWhenAsked) {
            EXPECT_EQ(world.sql("SELECT DISTINCT retry_count FROM upload_queue"), QStringList("0"));
        }
        keyring.isLocked = keyring.isBroken = false;
        world.tick(130);
        world.engine().stopTracking();
        world.tick(1);
        EXPECT_TRUE(world.sql("SELECT type FROM upload_queue").isEmpty());
        for (const URLRequest& request : world.machine.urlSession.requests)
            EXPECT_EQ(request.header("Authorization"), "Bearer access");
    }
}

TEST_F(Core, TakesAKeyringThatStopsAnsweringBeforeTheRefreshForBeingOffline) {
    world.machine.urlSession.setServer([&](const URLRequest&) {
        world.machine.secrets.isBroken = true;
        return SimulatedURLSession::answer(401);
    });
    world.start();
    world.tick(1);
    EXPECT_EQ(world.sql("SELECT status, retry_count FROM upload_queue"), QStringList("failed|0"));
    EXPECT_TRUE(core().appState.isAuthenticated());
}

TEST_F(Core, StopsTheSessionThatAnotherDeviceTookOver) {
    world.start();
    world.typeFor(59);
    world.status = 409;
    world.typeFor(2);
    EXPECT_EQ(world.message(), "Session was resumed on another device.");
    ASSERT_EQ(desktop().alerts.size(), 1U);
    EXPECT_EQ(desktop().alerts.back().message, "Session resumed on another device");
    EXPECT_EQ(desktop().activations, 1);
}

TEST_F(Core, EndsEverythingWhenTheSignInIsRejected) {
    world.applyConfig();
    bool wasToldWhenAllWasDone = false;
    QObject::connect(&core(), &TimeTrackerCore::authSessionDidInvalidate, &core(),
                     [&] { wasToldWhenAllWasDone = !world.engine().isTracking(); });
    world.start();
    world.status = 401;
    world.typeFor(65); // each road tries its one refresh, which is granted
    EXPECT_TRUE(world.engine().isTracking());
    EXPECT_FALSE(world.bodies("authentication/refresh").empty());
    world.refreshStatus = 401;
    world.tick(2500);
    EXPECT_TRUE(wasToldWhenAllWasDone);
    EXPECT_FALSE(core().appState.isAuthenticated() || core().appState.remoteConfig() ||
                 world.engine().config());
    EXPECT_EQ(world.message(), "Tracking stopped: Session ended");
    world.machine.urlSession.requests.clear();
    world.tick(5000);
    EXPECT_TRUE(world.machine.urlSession.requests.empty()); // the refresh loop ended, nothing is due
    world.status = world.refreshStatus = 200;
    world.signIn();
    world.tick(60);
    const auto reports = world.bodies("sessions/heartbeat"); // the session's end waited for its company
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0]["status"], "completed");
    world.restart();
    EXPECT_FALSE(world.engine().interruptedSession()); // it is over for good, and was worked for this company
    EXPECT_NEAR(world.engine().todayTotalSeconds(), 65, 2);
}

TEST_F(Core, EnforcesAForcedUpdateAndAsksNothingBehindItsWall) {
    world.config.latestClientVersion = "9";
    for (const int raised : {0, 1, 1}) { // without a window, with one, and once only
        world.start();
        world.applyConfig();
        EXPECT_EQ(world.message(), "Tracking stopped: Update required");
        EXPECT_EQ(desktop().windowsRaised, raised);
        desktop().hasWindow = true;
    }
    world.start(); // a session that the wall did not stop
    world.tick(305);
    world.machine.input.happen(InputEventType::keyDown);
    world.tick(5);
    EXPECT_TRUE(world.engine().needsIdleDecision());
    EXPECT_TRUE(desktop().alerts.empty());
}

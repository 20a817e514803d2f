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
    world.die();
    world.machine.secrets.isLocked = true;
    world.machine.secrets.prompts = 0;
    DomainStorage(world.machine.preferences).setBaseURL(std::nullopt); // nothing else reads tokens
    world.launch();
    world.tick(600);
    EXPECT_TRUE(core().appState.authRestoreIsSlow());
    EXPECT_TRUE(core().appState.isRestoringSession()); // never taken for "signed out"
    EXPECT_EQ(world.machine.secrets.prompts, 1);
    world.machine.secrets.isLocked = false;
    world.tick(2);
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
    EXPECT_TRUE(world.bodies("employees/config").empty()); // the refresh loop ended
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

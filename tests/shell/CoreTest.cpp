// The core as one: boot, keyring, power, what the pipeline and the authentication tell, what the person is
// asked.

#include "EngineFixture.h"
#include "LogCapture.h"
#include "PreferenceStores.h"
#include "UpdateCheck.h"

#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

namespace {

struct Core : testing::Test {
    EngineFixture world;

    TimeTrackerCore& core() { return *world.core; }
    SimulatedDesktop& desktop() { return world.machine.desktop; }
    void cache(const RemoteConfig& config) {
        QFile file(world.directory.filePath("Velmora TimeTracker/config.json"));
        ASSERT_TRUE(file.open(QFile::WriteOnly));
        file.write(encodeRemoteConfig(config));
    }
};

} // namespace

TEST_F(Core, BootsFromTheCachedConfiguration) {
    EXPECT_TRUE(core().appState.isAuthenticated());
    EXPECT_FALSE(core().appState.remoteConfig());
    world.config.appTimezone = "Asia/Tokyo";
    cache(world.config);
    world.restart();
    EXPECT_EQ(core().appState.remoteConfig(), world.config);
    EXPECT_EQ(core().appState.projects(), world.config.projects);
    EXPECT_EQ(world.engine().config(), world.config);
    EXPECT_EQ(core().timeZones.storedTimezoneIdentifier(), "Asia/Tokyo");
    world.die();
    DomainStorage(world.machine.preferences).setBaseURL(QUrl("https://acme.test/api/v1/"));
    world.machine.preferences.remove(PreferenceKey::apiTimezoneIdentifier);
    world.core = std::make_unique<TimeTrackerCore>(world.machine.platform());
    EXPECT_EQ(core().timeZones.storedTimezoneIdentifier(), "Asia/Tokyo"); // before anything has run
    EXPECT_EQ(QFileInfo(core().folder).permissions() & 0x77, QFile::Permissions());
}

TEST_F(Core, RefreshesTheConfigurationWhileSignedIn) {
    world.tick(2500);
    EXPECT_EQ(world.engine().config(), world.config);
    const auto fetches = world.bodies("employees/config").size();
    EXPECT_GE(fetches, 1);
    world.config.idleMinutesThreshold = 9;
    world.tick(2500);
    EXPECT_EQ(world.engine().config()->idleMinutesThreshold, 9);

    KeychainService(world.machine.secrets).deleteAuthTokens();
    world.restart();
    EXPECT_FALSE(core().appState.isAuthenticated());
    world.machine.urlSession.requests.clear();
    world.tick(5000);
    EXPECT_TRUE(world.bodies("employees/config").empty());
}

TEST_F(Core, WaitsForALockedKeyring) {
    world.die();
    world.machine.secrets.isLocked = true;
    world.machine.secrets.prompts = 0;
    world.machine.displays.list.clear();
    world.launch();
    world.tick(7.9);
    EXPECT_TRUE(core().appState.isRestoringSession());
    EXPECT_FALSE(core().appState.authRestoreIsSlow());
    world.tick(0.2);
    EXPECT_TRUE(core().appState.authRestoreIsSlow());
    world.tick(600);
    EXPECT_TRUE(core().appState.isRestoringSession()); // never taken for "signed out"
    world.machine.secrets.isLocked = false;
    LogCapture log;
    world.tick(2);
    EXPECT_FALSE(core().appState.isRestoringSession());
    EXPECT_TRUE(core().appState.isAuthenticated());
    EXPECT_TRUE(log.contains("the user was probably asked to authorise access"));
}

TEST_F(Core, AsksToUnlockTheKeyringOnce) {
    world.die();
    world.machine.secrets.isLocked = true;
    world.machine.secrets.prompts = 0;
    DomainStorage(world.machine.preferences).setBaseURL(std::nullopt); // nothing else reads tokens
    world.launch();
    world.tick(20);
    EXPECT_EQ(world.machine.secrets.prompts, 1);
    core().appState.abandonAuthRestore();
    EXPECT_FALSE(core().appState.isAuthenticated());
}

TEST_F(Core, StopsTheSessionThatAnotherDeviceTookOver) {
    for (int session = 0; session < 2; ++session) {
        world.status = 200;
        world.start();
        world.typeFor(59);
        world.status = 409;
        world.typeFor(2);
        EXPECT_FALSE(world.engine().isTracking());
        EXPECT_EQ(world.message(), "Session was resumed on another device.");
        const Alert& alert = desktop().alerts.back();
        EXPECT_EQ(alert.identifier, "SessionTakenOverDialog");
        EXPECT_EQ(alert.message, "Session resumed on another device");
        EXPECT_EQ(alert.informative,
                  "Tracking on this device was stopped because your session was resumed on another device.");
        EXPECT_EQ(alert.buttons, QStringList{"OK"});
        EXPECT_TRUE(alert.showsIcon);
        EXPECT_TRUE(world.sql("SELECT id FROM upload_queue WHERE type = 'heartbeat'").isEmpty());
    }
    EXPECT_EQ(desktop().alerts.size(), 2);
    EXPECT_EQ(desktop().activations, 2);
}

TEST_F(Core, EndsEverythingWhenTheSignInIsRejected) {
    world.applyConfig();
    int told = 0;
    QObject::connect(&core(), &TimeTrackerCore::authSessionDidInvalidate, &core(), [&] {
        EXPECT_FALSE(world.engine().isTracking()); // all is done by then
        ++told;
    });
    world.start();
    world.tick(30);
    world.refreshStatus = 401;
    world.status = 401;
    world.typeFor(60);
    EXPECT_EQ(told, 1);
    EXPECT_FALSE(core().appState.isAuthenticated());
    EXPECT_FALSE(core().appState.remoteConfig());
    EXPECT_TRUE(core().appState.projects().empty());
    EXPECT_FALSE(world.engine().config());
    EXPECT_EQ(world.message(), "Tracking stopped: Session ended");
    EXPECT_TRUE(world.activeSessions().empty());
    world.machine.urlSession.requests.clear();
    world.tick(5000);
    EXPECT_TRUE(world.bodies("employees/config").empty()); // the refresh loop ended
}

TEST_F(Core, RefreshesATokenForEveryRoad) {
    world.applyConfig();
    world.start();
    world.tick(1);
    world.status = 401; // and stays so: each road tries its one refresh and gives up
    world.typeFor(60);
    EXPECT_TRUE(world.engine().isTracking());
    EXPECT_TRUE(core().appState.isAuthenticated());
    const auto refreshes = world.bodies("authentication/refresh").size();
    EXPECT_GE(refreshes, 1);
    spawn(checkForUpdatesFromMenu(core().appState, world.engine(), desktop()), "check");
    world.tick(0.5);
    EXPECT_EQ(desktop().alerts.back().message, "Failed to check for updates.");
    EXPECT_EQ(world.bodies("authentication/refresh").size(), refreshes + 1);
}

TEST_F(Core, EnforcesAForcedUpdate) {
    world.start();
    world.config.latestClientVersion = "9";
    world.applyConfig();
    EXPECT_FALSE(world.engine().isTracking());
    EXPECT_EQ(world.message(), "Tracking stopped: Update required");
    EXPECT_EQ(desktop().activations, 1);
    EXPECT_EQ(desktop().windowsRaised, 0);
    desktop().hasWindow = true;
    world.start();
    world.applyConfig(); // tried again, and now there is one
    EXPECT_EQ(desktop().windowsRaised, 1);
    world.start();
    world.applyConfig(); // surfaced: only tracking stops
    EXPECT_FALSE(world.engine().isTracking());
    EXPECT_EQ(desktop().windowsRaised, 1);

    int surfaced = 0;
    world.restart();
    world.applyConfig();
    core().appState.installWindowActions([&] { ++surfaced; }, [] {});
    EXPECT_EQ(surfaced, 0); // a window was raised already
    desktop().hasWindow = false;
    world.restart();
    world.applyConfig();
    core().appState.installWindowActions([&] { ++surfaced; }, [] {});
    EXPECT_EQ(surfaced, 1);
}

TEST_F(Core, AsksNothingBehindTheUpdateWall) {
    world.start();
    world.tick(305);
    core().sessionManager.pauseTracking();
    world.config.latestClientVersion = "9";
    core().appState.evaluateClientVersion(world.config);
    world.start(); // a session that the wall did not stop
    world.tick(305);
    world.machine.input.happen(InputEventType::keyDown);
    world.tick(5);
    EXPECT_TRUE(world.engine().needsIdleDecision());
    EXPECT_TRUE(desktop().alerts.empty());
}

TEST_F(Core, HearsNothingMoreAfterItsEnd) {
    world.start();
    world.tick(5);                   // no exchange under way: those end with the network's thread
    world.machine.power.willSleep(); // posted, not yet run
    world.core.reset();
    world.tick(120); // the sanitizer watches
    world.machine.power.willTerminate();
    world.machine.power.didWake();
    world.machine.timeline.settle();
}

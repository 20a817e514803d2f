#include "tests/screens/ScreensFixture.h"

using Gates = ScreensFixture;

TEST_F(Gates, OfferAnInterruptedSession) {
    world.applyConfig();
    world.start("p1", hostile);
    relaunch();
    inEveryLook("#resumeInterrupted");
    press("#resumeInterrupted");
    EXPECT_TRUE(world.engine().isTracking());
    EXPECT_TRUE(control(*shown, "#stopTracking"));
}

TEST_F(Gates, ExplainAMissingPermission) {
    world.applyConfig();
    world.machine.permissions.screenRecording = false;
    world.machine.permissions.denialReason = "This session offers no screen pictures.";
    models->permission.checkPermissionsAgain();
    inEveryLook("#permissionExplanation");
    EXPECT_EQ(text("#openScreenRecordingState"), "Not granted");
    world.machine.permissions.screenRecording = true;
    press("#checkPermissionsAgain");
    EXPECT_TRUE(control(*shown, "#startTracking"));
}

TEST_F(Gates, BlockAProgramThatIsTooOld) {
    world.config.latestClientVersion = "99." + QString(500, '9');
    world.config.clientDownloadURL = "https://acme.test/get";
    world.applyConfig();
    EXPECT_FALSE(models->tracker.canStart());
    inEveryLook("#ForceUpdate_DownloadButton");
    press("#ForceUpdate_DownloadButton");
    EXPECT_EQ(world.machine.desktop.opened, std::vector{QUrl("https://acme.test/get")});
}

TEST_F(Gates, OfferToUnlockTheKeyringOrToSignInInstead) {
    world.machine.secrets.isLocked = true;
    relaunch();
    world.tick(9);
    inEveryLook("#signInInstead");
    press("#unlockKeyring");
    EXPECT_EQ(text("#unlockKeyring"), "-"); // the prompt is shown
    world.tick(2);
    EXPECT_EQ(world.machine.secrets.prompts, 2);
    EXPECT_EQ(text("#unlockKeyring"), "Unlock"); // it was dismissed
    press("#signInInstead");
    EXPECT_TRUE(control(*shown, "#loginButton"));
}

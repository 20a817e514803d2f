#include "ScreensFixture.h"

#include <QMenu>

using Views = ScreensFixture;

TEST_F(Views, TheProgramHoldsInEveryLook) {
    world.config.projects = {{"p1", hostile}, {"p2", "A & B"}};
    world.applyConfig();
    world.engine().handleScreenRecordingPermissionLost();
    tracker->chooseTask("p1");
    inEveryLook("#permissionBannerOpenSettings");
    press("#taskField");
    EXPECT_EQ(shown->findChild<QMenu*>()->actions()[2]->text(), "A && B");
    key(control(*shown, "#startTracking"), Qt::Key_Return);
    world.engine().applyServerTodayTotal({400 * 3600, "2024-05-15"});
    inEveryLook("#stopTracking");
    EXPECT_EQ(text("#dayClock"), "400:00:00");
    relaunch();
    inEveryLook("#resumeInterrupted");
    world.jumpTo("2024-05-16T08:00:00Z"); // what a crash left on one day is ended on another
    press("#finishInterrupted");
    world.applyConfig();
    inEveryLook("#midnightTask");
    press("#midnightStartNew");
    EXPECT_EQ(control<QLabel>(*shown, "#projectName")->textFormat(), Qt::PlainText);
    world.machine.permissions.screenRecording = false;
    world.machine.permissions.denialReason = "This session offers no screen pictures.";
    root->checkPermissionsAgain();
    inEveryLook("#permissionExplanation");
    world.config.latestClientVersion = "99." + QString(500, '9');
    world.config.clientDownloadURL = "https://acme.test/get";
    world.applyConfig();
    EXPECT_FALSE(tracker->canStart());
    inEveryLook("#ForceUpdate_DownloadButton");
    press("#ForceUpdate_DownloadButton");
    EXPECT_EQ(world.machine.desktop.opened, std::vector{QUrl("https://acme.test/get")});
    world.machine.secrets.isLocked = true;
    relaunch();
    world.tick(9);
    inEveryLook("#signInInstead");
    press("#unlockKeyring");
    EXPECT_EQ(text("#unlockKeyring"), "-"); // the prompt is raised
    world.tick(2);
    EXPECT_EQ(world.machine.secrets.prompts, 2);
    EXPECT_EQ(text("#unlockKeyring"), "Unlock"); // dismissed again
    press("#signInInstead");
    EXPECT_TRUE(control(*shown, "#loginButton"));
    EXPECT_EQ(ThemeManager(world.machine.preferences).paletteID(), "black"); // kept for the next start
}

TEST_F(Views, MeasureTheDayAgainstItsTarget) {
    world.engine().applyServerTodayTotal({4 * 3600 + 59, "2024-05-15"});
    for (const auto& [hours, minutes, sentence, progress] :
         {std::tuple{0, 0, "Target: 8 work hours", "50% of 04:00 / 08:00"},
          {7, 30, "Target: 7h 30m of work", "53% of 04:00 / 07:30"},
          {30, 90, "Target: 24 work hours", "16% of 04:00 / 24:00"}}) {
        tracker->setDailyTarget(hours, minutes);
        EXPECT_EQ(tracker->targetSentence(), sentence);
        EXPECT_EQ(tracker->progressPercent() + " of " + tracker->progressTimes(), progress);
    }
}

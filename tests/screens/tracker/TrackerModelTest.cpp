#include "tests/screens/ScreensFixture.h"

#include <QMenu>

using Tracker = ScreensFixture;

TEST_F(Tracker, ShowsTheLostPermissionAndHostileProjectNames) {
    world.config.projects = {{"p1", hostile}, {"p2", "A & B"}};
    world.applyConfig();
    world.engine().handleScreenRecordingPermissionLost();
    models->tracker.chooseTask("p1");
    inEveryLook("#permissionBannerOpenSettings");
    press("#taskField");
    EXPECT_EQ(shown->findChild<QMenu*>()->actions()[2]->text(), "A && B");
}

TEST_F(Tracker, ShowsARunningSessionOfManyHours) {
    world.config.projects = {{"p1", hostile}};
    world.applyConfig();
    models->tracker.chooseTask("p1");
    show();
    key(control(*shown, "#startTracking"), Qt::Key_Return);
    world.engine().applyServerTodayTotal({400 * 3600, "2024-05-15"});
    inEveryLook("#stopTracking");
    EXPECT_EQ(text("#dayClock"), "400:00:00");
    EXPECT_EQ(control<QLabel>(*shown, "#projectName")->textFormat(), Qt::PlainText);
}

TEST_F(Tracker, OffersANewSessionAfterMidnightEndedOne) {
    world.applyConfig();
    world.start("p1", hostile);
    relaunch();
    world.jumpTo("2024-05-16T08:00:00Z");
    models->interruptedSession.finishInterruptedSession();
    world.applyConfig();
    inEveryLook("#midnightTask");
    press("#midnightStartNew");
    EXPECT_EQ(control<QLabel>(*shown, "#projectName")->textFormat(), Qt::PlainText);
    EXPECT_EQ(world.session().projectName, hostile);
}

TEST_F(Tracker, MeasuresTheDayAgainstItsTarget) {
    world.engine().applyServerTodayTotal({4 * 3600 + 59, "2024-05-15"});
    for (const auto& [hours, minutes, sentence, progress] :
         {std::tuple{0, 0, "Target: 8 work hours", "50% of 04:00 / 08:00"},
          {7, 30, "Target: 7h 30m of work", "53% of 04:00 / 07:30"},
          {30, 90, "Target: 24 work hours", "16% of 04:00 / 24:00"}}) {
        models->tracker.setDailyTarget(hours, minutes);
        EXPECT_EQ(models->tracker.targetSentence(), sentence);
        EXPECT_EQ(models->tracker.progressPercent() + " of " + models->tracker.progressTimes(), progress);
    }
}

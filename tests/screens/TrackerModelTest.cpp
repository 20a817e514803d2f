// What the root and the tracker show of the engine, and what their buttons do to it.

#include "ScreensFixture.h"

#include <gmock/gmock.h>

namespace {

struct Tracker : testing::Test, ScreensFixture {
    Tracker() {
        world.applyConfig();
        world.machine.timeline.settle();
    }
    QString status() { return root->headerStatus().label; }
};

} // namespace

TEST_F(Tracker, StartsTheChosenTask) {
    EXPECT_EQ(tracker->selectedTaskMenuTitle(), "No task");
    tracker->chooseTask("p2");
    EXPECT_EQ(tracker->selectedTaskMenuTitle(), "Second");
    QStringList names;
    QStringList current;
    for (const auto& choice : tracker->taskChoices()) {
        names += choice.name;
        if (choice.isCurrent)
            current += choice.name;
    }
    EXPECT_EQ(names, (QStringList{"No task", "First", "Second"}));
    EXPECT_EQ(current, QStringList{"Second"});
    EXPECT_EQ(status(), "Not Tracking");
    tracker->start();
    EXPECT_TRUE(tracker->isTracking());
    EXPECT_EQ(tracker->projectName(), "Second");
    EXPECT_EQ(status(), "Tracking");
    world.typeFor(90);
    EXPECT_EQ(tracker->dayClock(), "00:01:30");
    EXPECT_EQ(tracker->activePhrase(), "1 minute making something awesome today");
    EXPECT_EQ(tracker->recentActivity(), "100%");
    tracker->pauseOrResume();
    EXPECT_TRUE(tracker->isPaused());
    EXPECT_EQ(status(), "Paused");
    world.tick(30);
    EXPECT_EQ(tracker->dayClock(), "00:01:30");
    tracker->pauseOrResume();
    EXPECT_EQ(status(), "Tracking");
    tracker->stop();
    EXPECT_FALSE(tracker->isTracking());
    EXPECT_EQ(tracker->recentActivity(), "—");
    EXPECT_FALSE(tracker->statusMessage());
}

TEST_F(Tracker, RefreshesTheTasksWithTheMenu) {
    world.config.projects = {{"p9", "Ninth"}};
    tracker->chooseTask("p2");
    world.status = 500;
    tracker->scheduleTaskMenuConfigRefreshFromServer();
    world.tick(1);
    EXPECT_EQ(tracker->selectedTaskMenuTitle(), "Second"); // a failure leaves everything as it was
    world.status = 200;
    tracker->scheduleTaskMenuConfigRefreshFromServer();
    world.tick(1);
    EXPECT_EQ(tracker->taskChoices().back().name, "Ninth");
    tracker->chooseTask("gone");
    EXPECT_EQ(tracker->selectedTaskMenuTitle(), "No task");
    EXPECT_TRUE(tracker->taskChoices().front().isCurrent);
    tracker->start();
    EXPECT_EQ(tracker->projectName(), "");
}

TEST_F(Tracker, TellsWhyAStartIsRefused) {
    world.machine.permissions.screenRecording = false;
    tracker->start();
    EXPECT_FALSE(tracker->isTracking());
    EXPECT_EQ(tracker->statusMessage(), "Required permissions are not granted.");
    relaunch();
    EXPECT_FALSE(tracker->canStart()); // no configuration yet
    world.machine.permissions.screenRecording = true;
    world.config.latestClientVersion = "9.0";
    world.config.clientDownloadURL = "https://acme.test/get";
    world.applyConfig();
    EXPECT_FALSE(tracker->canStart());
    EXPECT_EQ(root->screen(), Routing::Screen::forcedUpdate);
    EXPECT_EQ(root->latestVersion(), "9.0");
    root->openDownload();
    EXPECT_THAT(world.machine.desktop.opened, testing::ElementsAre(QUrl("https://acme.test/get")));
}

TEST_F(Tracker, MeasuresTheDayAgainstItsTarget) {
    EXPECT_EQ(tracker->targetSentence(), "Target: 8 work hours");
    EXPECT_EQ(tracker->progressTimes(), "00:00 / 08:00");
    world.todayTotal = {};
    world.engine().applyServerTodayTotal({4 * 3600 + 59, "2024-05-15"});
    EXPECT_EQ(tracker->progressPercent(), "50%");
    tracker->setDailyTarget(7, 30);
    EXPECT_EQ(tracker->targetSentence(), "Target: 7h 30m of work");
    EXPECT_EQ(tracker->progressPercent(), "53%");
    tracker->setDailyTarget(1, 0);
    EXPECT_EQ(tracker->progressPercent(), "100%");
    EXPECT_EQ(tracker->progressTimes(), "04:00 / 01:00");
    tracker->setDailyTarget(0, 0);
    EXPECT_EQ(tracker->targetHours(), 8);
    tracker->setDailyTarget(30, 90);
    EXPECT_EQ(tracker->targetSentence(), "Target: 24 work hours");
}

TEST_F(Tracker, ChangesThePhraseEachTenMinutes) {
    world.engine().applyServerTodayTotal({7200, "2024-05-15"});
    QSet<QString> phrases;
    for (int i = 0; i < 12; ++i) {
        phrases.insert(tracker->activePhrase());
        world.tick(300);
    }
    EXPECT_GE(phrases.size(), 3);
    EXPECT_LE(phrases.size(), 7);
    QSet<QString> idle;
    for (int i = 0; i < 40; ++i) {
        idle.insert(tracker->idlePhrase());
        tracker->idleViewAppeared();
    }
    EXPECT_GT(idle.size(), 10);
}

TEST_F(Tracker, RaisesItsBanners) {
    tracker->chooseTask("p1");
    tracker->start();
    world.engine().handleScreenRecordingPermissionLost();
    EXPECT_TRUE(tracker->permissionWasLost());
    EXPECT_EQ(tracker->statusMessage(), "Tracking stopped: screenRecordingRevoked");
    tracker->openPermissionSettings();
    EXPECT_EQ(world.machine.permissions.settingsOpened, 1);
    tracker->dismissPermissionLost();
    EXPECT_FALSE(tracker->permissionWasLost());
}

TEST_F(Tracker, OffersASessionThatACrashLeft) {
    tracker->chooseTask("p1");
    tracker->start();
    world.typeFor(120);
    relaunch();
    world.tick(1);
    EXPECT_EQ(root->screen(), Routing::Screen::interrupted);
    EXPECT_EQ(root->interruptedSince(), "Started 2 minutes ago");
    world.machine.permissions.inputMonitoring = 1;
    root->checkPermissionsAgain();
    EXPECT_EQ(root->screen(), Routing::Screen::permissions);
    EXPECT_TRUE(root->probePermissions().screenRecording);
    EXPECT_FALSE(root->probePermissions().inputMonitoring);
    root->askForInputMonitoring();
    root->askForInputMonitoring();
    EXPECT_EQ(world.machine.permissions.requests, 1); // the prompt comes once
    EXPECT_EQ(world.machine.permissions.settingsOpened, 2);
    world.machine.permissions.inputMonitoring = 0;
    root->checkPermissionsAgain();
    root->resumeInterruptedSession();
    EXPECT_EQ(root->screen(), Routing::Screen::tabs);
    EXPECT_TRUE(tracker->isTracking());
}

TEST_F(Tracker, ReturnsToTheSignInWhenTheSessionIsThrownOut) {
    tracker->start();
    world.typeFor(5);
    world.status = 401;
    world.refreshStatus = 401;
    tracker->scheduleTaskMenuConfigRefreshFromServer();
    world.tick(2);
    EXPECT_EQ(root->screen(), Routing::Screen::login);
    EXPECT_FALSE(tracker->isTracking());
    EXPECT_FALSE(world.engine().interruptedSession());
}

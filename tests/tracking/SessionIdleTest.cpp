// What idleness does to a session: every action, with and without the discard, and every way it can end.

#include "EngineTest.h"

namespace {

struct SessionIdle : EngineTest {
    SimulatedDesktop& desktop = world.machine.desktop;

    /// Works 100 seconds with input, then leaves the machine until the pause has come.
    void workAndLeave(const std::optional<QString>& action = "ask", bool discards = true) {
        desktop.alerts.clear();
        world.config.idleAction = action;
        world.config.discardIdleTime = discards;
        world.applyConfig();
        world.start();
        world.typeFor(100);
        world.tick(305);
    }
    void comeBack() {
        touch();
        world.tick(5);
    }
};

} // namespace

TEST_F(SessionIdle, BillsByActionDiscardAndAnswer) {
    enum Then { itEnds, answersContinue, answersStop, stopsByHand, losesPermission };
    const auto billed = [this](const std::optional<QString>& action, bool discards, Then then) {
        workAndLeave(action, discards);
        EXPECT_TRUE(engine().isPaused() && engine().isIdle());
        EXPECT_TRUE(world.activeSessions().at(0).idleDiscardCutoffAt); // on disk, against a crash
        const Seconds shown = engine().elapsedSeconds();
        world.tick(1000);
        EXPECT_EQ(engine().elapsedSeconds(), shown);
        EXPECT_EQ(world.message(), "");
        comeBack();
        const bool asks = then == answersContinue || then == answersStop;
        EXPECT_EQ(engine().needsIdleDecision(), asks);
        EXPECT_EQ(engine().isIdle(), then != itEnds);
        EXPECT_EQ(world.message() == "You were idle. Continue tracking or stop the session.", asks);
        if (asks)
            desktop.answer(then == answersContinue ? 0 : 1);
        if (then == losesPermission)
            engine().handleScreenRecordingPermissionLost();
        EXPECT_EQ(engine().isIdle(), then == stopsByHand);
        EXPECT_EQ(world.message() == "Tracking stopped: idle", then == itEnds || then == answersStop);
        world.tick(10);
        engine().stopTracking();
        EXPECT_FALSE(lastFinished().idleDiscardCutoffAt);
        return lastTotal();
    };
    // The last key came at 99.5 s, the pause within 5 s of 399.5.
    EXPECT_EQ(billed("stop", true, itEnds), 99);
    EXPECT_NEAR(billed("stop", false, itEnds), 402, 3);
    EXPECT_EQ(billed("pause", true, stopsByHand), 99);
    EXPECT_EQ(billed("pause", true, losesPermission), 99);
    EXPECT_EQ(billed("ask", true, answersStop), 99);
    EXPECT_NEAR(billed("ask", true, answersContinue), 412, 3);
    EXPECT_NEAR(billed(std::nullopt, false, answersStop), 402, 3);
    EXPECT_EQ(billed("whatever", true, answersStop), 99);
}

TEST_F(SessionIdle, AsksOnceForEachIdlePeriod) {
    workAndLeave();
    comeBack();
    const Alert& question = desktop.alerts.at(0);
    EXPECT_EQ(question.message, "You are idle");
    EXPECT_EQ(question.informative, "Continue the session or stop?");
    EXPECT_EQ(question.buttons, (QStringList{"Continue", "Stop"}));
    world.tick(400); // away again while the question is open
    comeBack();
    EXPECT_EQ(desktop.activations, 1);
    desktop.answer(0);
    world.tick(400);
    comeBack();
    resume(); // on the tracker screen, which takes the question of the new period away
    world.tick(310);
    comeBack();
    EXPECT_EQ(desktop.alerts.size(), 3);
    EXPECT_EQ(desktop.openAlerts(), 1);
    desktop.answer(0);
    EXPECT_FALSE(engine().isPaused());
}

TEST_F(SessionIdle, LetsAQuestionLapseWithItsPause) {
    using Happens = std::function<void()>;
    const auto expectLapse = [this](const Happens& meanwhile, bool tracking, bool paused) {
        workAndLeave();
        comeBack();
        EXPECT_EQ(desktop.openAlerts(), 1);
        meanwhile();
        EXPECT_EQ(desktop.openAlerts(), 0);
        EXPECT_FALSE(engine().needsIdleDecision() || engine().isIdle());
        EXPECT_EQ(engine().isTracking(), tracking);
        EXPECT_EQ(engine().isPaused(), paused);
        engine().stopTracking();
    };
    expectLapse([this] { resume(), engine().pauseTracking(); }, true, true);
    expectLapse([this] { engine().stopTracking(); }, false, false);
    expectLapse([this] { engine().handleSessionTakenOver(world.session().id); }, false, false);
}

TEST_F(SessionIdle, OutlivesMidnight) {
    const QString question = "You were idle. Continue tracking or stop the session.";
    const auto beIdleOverMidnight = [this](const char* action) {
        world.jumpTo("2024-05-15T23:50:00Z");
        workAndLeave(action);
        world.config.idleMinutesThreshold = 60; // a new run of the detector would see no idleness
        world.applyConfig();
        world.tick(600);
        world.config.idleMinutesThreshold = 5;
        EXPECT_EQ(lastTotal(), 99);
        EXPECT_TRUE(engine().isPaused() && engine().isIdle());
    };
    const auto expectQuestion = [&] {
        EXPECT_TRUE(engine().needsIdleDecision());
        EXPECT_EQ(world.message(), question);
        EXPECT_EQ(desktop.openAlerts(), 1);
    };
    beIdleOverMidnight("ask");
    comeBack();
    expectQuestion();
    world.tick(86400); // unanswered over the next midnight
    expectQuestion();
    touch();
    desktop.answer(0);
    EXPECT_EQ(world.message(), ""); // goes with the question
    world.typeFor(60);
    engine().stopTracking();
    EXPECT_EQ(lastTotal(), 60);

    beIdleOverMidnight("stop");
    comeBack();
    EXPECT_EQ(world.message(), "Tracking stopped: idle");

    beIdleOverMidnight("pause");
    comeBack();
    EXPECT_TRUE(engine().isIdle());
    EXPECT_EQ(world.message(), "");
}

TEST_F(SessionIdle, IgnoresANoticeThatWasUnderWayWhenTheSessionWasResumed) {
    // The detector checks in five seconds and posts its notice; the resume of that moment is handled before it.
    const auto resumeBesideTheNextCheck = [this] {
        const auto pressed = world.machine.main.after(5, [this] { resume(); });
        world.tick(10);
        EXPECT_FALSE(engine().isPaused() || engine().needsIdleDecision());
        EXPECT_TRUE(engine().isTracking());
        engine().stopTracking();
    };
    for (const char* action : {"ask", "pause", "stop"}) { // its end
        workAndLeave(action);
        touch();
        resumeBesideTheNextCheck();
    }
    world.start(); // its beginning
    engine().pauseTracking();
    world.tick(295);
    resumeBesideTheNextCheck();
}

TEST_F(SessionIdle, BillsNothingWithoutAnyInputAndLeavesAPauseByHandAlone) {
    world.start();
    world.tick(310);
    EXPECT_TRUE(engine().isIdle());
    engine().stopTracking();
    EXPECT_EQ(lastTotal(), 0);
    world.start();
    world.typeFor(20);
    world.machine.timeline.jumpWallClock(-3600);
    world.tick(310); // the last input lies in the future
    EXPECT_TRUE(engine().isIdle());
    engine().stopTracking();
    EXPECT_NEAR(lastTotal(), 20, 2);
    world.start();
    world.typeFor(20);
    engine().pauseTracking();
    world.tick(1000);
    comeBack();
    EXPECT_FALSE(engine().isIdle() || engine().needsIdleDecision());
    EXPECT_TRUE(engine().isPaused());
    EXPECT_TRUE(desktop.alerts.empty());
    engine().stopTracking();
    EXPECT_EQ(lastTotal(), 20);
}

TEST_F(SessionIdle, CutsNoIntervalBeforeItsStart) {
    world.start();
    world.typeFor(20);
    engine().pauseTracking();
    world.tick(60);
    engine().resumeTracking(); // the last counted input was before the pause
    world.tick(310);
    EXPECT_TRUE(engine().isIdle());
    engine().stopTracking();
    const TrackingInterval last = lastFinished().intervals.back();
    EXPECT_EQ(last.stoppedAt, last.startedAt);
    EXPECT_EQ(lastTotal(), 20);
}

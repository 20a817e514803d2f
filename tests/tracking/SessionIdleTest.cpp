// What idleness does to a session: every action, with and without the discard, and every way it can end.

#include "EngineFixture.h"

#include <gtest/gtest.h>

namespace {

struct SessionIdle : testing::Test {
    EngineFixture world;
    SessionManager& engine = world.engine();
    SimulatedDesktop& desktop = world.machine.desktop;

    /// Works 100 seconds with input, then leaves the machine until the pause has come.
    void workAndLeave(const std::optional<QString>& action, bool discards) {
        world.config.idleAction = action;
        world.config.discardIdleTime = discards;
        engine.applyConfig(world.config);
        world.start();
        world.typeFor(100);
        world.tick(305);
    }
    void comeBack() {
        world.machine.input.happen(InputEventType::mouseMoved);
        world.tick(5);
    }
    qint64 lastTotal() { return world.finishedSessions().back().reportedTotalSeconds.value(); }
};

} // namespace

TEST_F(SessionIdle, BillsByActionDiscardAndAnswer) {
    enum class Then { comesBack, answersContinue, answersStop, stopsByHand };
    const struct {
        const char* action;
        bool discards;
        Then then;
        bool asks;
        qint64 total; ///< The last key came at 99.5 s, the pause within 5 s of 399.5.
    } cases[] = {
        {"stop", true, Then::comesBack, false, 99},      {"stop", false, Then::comesBack, false, 400},
        {"pause", true, Then::stopsByHand, false, 99},   {"pause", false, Then::stopsByHand, false, 400},
        {"ask", true, Then::answersStop, true, 99},      {"ask", false, Then::answersStop, true, 400},
        {"ask", true, Then::answersContinue, true, 410}, {"ask", false, Then::answersContinue, true, 410},
        {nullptr, true, Then::answersStop, true, 99},    {"whatever", true, Then::answersStop, true, 99},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << (c.action ? c.action : "none") << c.discards << int(c.then));
        desktop.alerts.clear();
        workAndLeave(c.action ? std::optional(QString::fromLatin1(c.action)) : std::nullopt, c.discards);
        ASSERT_TRUE(engine.isPaused());
        EXPECT_TRUE(engine.isIdle());
        EXPECT_FALSE(engine.needsIdleDecision());
        EXPECT_TRUE(world.activeSessions().at(0).idleDiscardCutoffAt); // on disk, against a crash
        const Seconds shown = engine.elapsedSeconds();
        EXPECT_NEAR(shown, 400, 5);
        world.tick(1000);
        EXPECT_EQ(engine.elapsedSeconds(), shown);
        comeBack();
        EXPECT_EQ(desktop.alerts.size(), c.asks ? 1 : 0);
        EXPECT_EQ(engine.needsIdleDecision(), c.asks);
        EXPECT_EQ(world.message() == "You were idle. Continue tracking or stop the session.", c.asks);
        if (c.then == Then::comesBack) {
            EXPECT_FALSE(engine.isTracking());
        } else if (c.then == Then::stopsByHand) {
            EXPECT_TRUE(engine.isPaused());
            EXPECT_TRUE(engine.isIdle());
            EXPECT_EQ(world.message(), "");
            engine.stopTracking();
        } else {
            desktop.answer(c.then == Then::answersContinue ? 0 : 1);
        }
        if (c.then == Then::answersContinue) {
            EXPECT_FALSE(engine.isPaused());
            EXPECT_FALSE(engine.isIdle());
            EXPECT_FALSE(engine.needsIdleDecision());
            world.tick(10);
            engine.stopTracking();
        } else if (c.then != Then::stopsByHand) {
            EXPECT_EQ(world.message(), "Tracking stopped: idle");
        }
        EXPECT_NEAR(lastTotal(), c.total, c.total < 100 ? 0 : 5);
        EXPECT_FALSE(world.finishedSessions().back().idleDiscardCutoffAt);
        engine.startTracking(std::nullopt); // clears the message
        engine.stopTracking();
        world.tick(1);
    }
}

TEST_F(SessionIdle, ShowsTheQuestionAsAgreed) {
    workAndLeave("ask", true);
    comeBack();
    const Alert& question = desktop.alerts.at(0);
    EXPECT_EQ(question.style, Alert::Style::warning);
    EXPECT_TRUE(question.showsIcon);
    EXPECT_EQ(question.message, "You are idle");
    EXPECT_EQ(question.informative, "Continue the session or stop?");
    EXPECT_EQ(question.buttons, (QStringList{"Continue", "Stop"}));
    EXPECT_EQ(desktop.activations, 1);
}

TEST_F(SessionIdle, AsksOnceForEachIdlePeriod) {
    workAndLeave("ask", true);
    comeBack();
    world.tick(400); // away again while the question is open
    comeBack();
    EXPECT_EQ(desktop.alerts.size(), 1);
    desktop.answer(0);
    world.tick(400);
    comeBack();
    EXPECT_EQ(desktop.alerts.size(), 2); // a new period, a new question
}

TEST_F(SessionIdle, LetsAQuestionLapseWithItsPause) {
    const struct {
        const char* what;
        std::function<void()> meanwhile;
        int button;
        bool tracking, paused;
    } cases[] = {
        {"paused by hand meanwhile", [this] { engine.resumeTracking(), engine.pauseTracking(); }, 0, true,
         true},
        {"resumed meanwhile", [this] { engine.resumeTracking(); }, 1, true, false},
        {"stopped meanwhile", [this] { engine.stopTracking(); }, 1, false, false},
        {"another session meanwhile", [this] { engine.stopTracking(), world.start(); }, 1, true, false},
        {"midnight meanwhile", [this] { world.jumpTo("2024-05-16T00:00:05Z"), world.tick(2); }, 0, true,
         false},
        {"midnight meanwhile", [this] { world.jumpTo("2024-05-17T00:00:05Z"), world.tick(2); }, 1, false,
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        workAndLeave("ask", true);
        comeBack();
        c.meanwhile();
        desktop.answer(c.button);
        EXPECT_EQ(engine.isTracking(), c.tracking);
        EXPECT_EQ(engine.isPaused(), c.paused);
        engine.stopTracking();
    }
}

TEST_F(SessionIdle, UsesTheOpenQuestionForTheNextPause) {
    workAndLeave("ask", true);
    comeBack();
    engine.resumeTracking(); // on the tracker screen; the alert still stands
    world.typeFor(10);
    world.tick(310);
    comeBack();
    EXPECT_EQ(desktop.alerts.size(), 1);
    desktop.answer(0);
    EXPECT_FALSE(engine.isPaused());
}

TEST_F(SessionIdle, LeavesAPauseByHandOrSleepAlone) {
    world.start();
    world.typeFor(10);
    engine.pauseTracking();
    world.tick(4000);
    comeBack();
    EXPECT_FALSE(engine.isIdle());
    EXPECT_FALSE(world.session().idleDiscardCutoffAt);
    EXPECT_TRUE(desktop.alerts.empty());
    EXPECT_EQ(world.message(), "");
}

TEST_F(SessionIdle, DiscardsAllOfAnIntervalWithoutInput) {
    world.config.idleMinutesThreshold = 0; // counts as 1
    engine.applyConfig(world.config);
    world.start();
    world.typeFor(100);
    engine.pauseTracking();
    engine.resumeTracking();
    world.machine.input.happen(InputEventType::mouseMoved); // keeps the watcher quiet, and is counted
    engine.pauseTracking();
    engine.stopTracking();
    world.tick(100);
    world.start(); // no input in this session
    world.tick(70);
    EXPECT_TRUE(engine.isIdle());
    EXPECT_EQ(world.session().idleDiscardCutoffAt, world.session().intervals.back().startedAt);
    engine.stopTracking();
    EXPECT_EQ(lastTotal(), 0);
}

TEST_F(SessionIdle, StopsWhileIdleWhenThePermissionGoes) {
    workAndLeave("ask", true);
    engine.handleScreenRecordingPermissionLost();
    EXPECT_FALSE(engine.isTracking());
    EXPECT_EQ(lastTotal(), 99);
}

TEST_F(SessionIdle, KeepsTheCutoffThroughACrash) {
    workAndLeave("ask", true);
    world.restart();
    ASSERT_TRUE(world.engine().interruptedSession());
    world.machine.input.happen(InputEventType::mouseMoved);
    world.engine().resumeInterruptedSession();
    world.tick(10);
    world.engine().stopTracking();
    EXPECT_EQ(lastTotal(), 109);
}

// Counting of input, and the watcher of its absence.

#include "ActivityTracker.h"
#include "IdleDetector.h"
#include "LogCapture.h"
#include "SimulatedInput.h"

#include <gtest/gtest.h>

using enum InputEventType;

namespace {

struct Counting : testing::Test {
    Timeline timeline;
    SimulatedClock clock{timeline};
    SimulatedInput input{timeline};
    ActivityTracker tracker{input, clock};
};

struct Watching : testing::Test {
    Timeline timeline;
    SimulatedExecutor utility{timeline};
    SimulatedInput input{timeline};
    QStringList notices;
    std::optional<IdleDetector> detector{std::in_place, input, utility};

    Watching() {
        detector->onIdle = [this] { notices << QString("idle@%1").arg(timeline.uptime()); };
        detector->onActive = [this] { notices << QString("active@%1").arg(timeline.uptime()); };
    }
};

} // namespace

TEST_F(Counting, FollowsTheEventTypes) {
    const struct {
        InputEventType type;
        qint64 mouse;
        qint64 keyboard;
    } cases[] = {{mouseMoved, 1, 0},
                 {leftMouseDragged, 1, 0},
                 {rightMouseDragged, 1, 0},
                 {keyDown, 0, 1},
                 {static_cast<InputEventType>(1), 0, 0},  // a click
                 {static_cast<InputEventType>(22), 0, 0}, // a turn of the wheel
                 {disabledByTimeout, 0, 0},
                 {disabledByUserInput, 0, 0}};
    for (const auto& c : cases) {
        tracker.reset();
        tracker.handleEvent(c.type);
        const bool counts = c.mouse + c.keyboard > 0;
        EXPECT_EQ(tracker.snapshot(1), (ActivitySnapshot{c.mouse, c.keyboard, 0}));
        EXPECT_EQ(tracker.latestInputAt(), counts ? std::optional(clock.now()) : std::nullopt);
        const auto delta = tracker.getAndResetMouseKeyboardDeltaThisSecond();
        EXPECT_EQ(delta.mouse, c.mouse);
        EXPECT_EQ(delta.keyboard, c.keyboard);
        EXPECT_EQ(tracker.consumeHadInputThisSecond(), counts);
        EXPECT_FALSE(tracker.consumeHadInputThisSecond());
        EXPECT_EQ(tracker.getAndResetMouseKeyboardDeltaThisSecond().mouse, 0);
    }
}

TEST_F(Counting, ScoresTheShareOfActiveSeconds) {
    const struct {
        int active;
        Seconds tracked;
        double score;
    } cases[] = {{30, 60, 50}, {90, 60, 100}, {30, 0, 0}, {30, -5, 0}, {0, 60, 0}};
    for (const auto& c : cases) {
        tracker.reset();
        for (int i = 0; i < c.active; ++i)
            tracker.recordActiveSecondForSession();
        EXPECT_EQ(tracker.snapshot(c.tracked).activityScore, c.score);
    }
}

TEST_F(Counting, KeepsOneTapAndTheTotalsBetweenStarts) {
    EXPECT_TRUE(tracker.start());
    EXPECT_TRUE(tracker.start());
    EXPECT_EQ(input.tapsOpened, 1);
    input.happen(keyDown, 3);
    tracker.stop();
    EXPECT_EQ(input.openTaps(), 0);
    input.happen(keyDown, 5); // nobody listens
    EXPECT_TRUE(tracker.start());
    input.happen(mouseMoved);
    EXPECT_EQ(tracker.snapshot(0), (ActivitySnapshot{1, 3, 0}));

    LogCapture log;
    input.happen(disabledByTimeout, 40);
    EXPECT_EQ(input.enables, 40);
    EXPECT_EQ(log.count("Event tap disabled by macOS (type 4294967294) — re-enabling"), 40);
}

TEST_F(Counting, SaysWhenThereIsNoInputToListenTo) {
    LogCapture log;
    input.isAvailable = false;
    EXPECT_FALSE(tracker.start());
    EXPECT_TRUE(log.contains("Failed creating CGEvent tap"));
}

TEST_F(Watching, TellsEdgesOnly) {
    detector->start(2);
    timeline.advance(119);
    EXPECT_TRUE(notices.isEmpty());
    timeline.advance(101); // at 220
    EXPECT_EQ(notices, QStringList{"idle@120"});
    input.happen(leftMouseDragged); // a drag is no movement for the watcher
    timeline.advance(10);
    EXPECT_EQ(notices.size(), 1);
    input.happen(keyDown);
    timeline.advance(30);
    EXPECT_EQ(notices.mid(1), QStringList{"active@235"});
    timeline.advance(400);
    EXPECT_EQ(notices.mid(2), QStringList{"idle@350"});
}

TEST_F(Watching, StartsEachRunWithACleanEdge) {
    for (const qint64 minutes : {qint64{0}, qint64{-7}, qint64{1}}) {
        notices.clear();
        input.happen(mouseMoved);
        detector->start(minutes);
        timeline.advance(64);
        EXPECT_EQ(notices.size(), 1) << minutes; // below 1 counts as 1
        detector->stop();
        timeline.advance(200);
        EXPECT_EQ(notices.size(), 1);
    }
    detector->start(1); // long idle already: told at once, again
    timeline.settle();
    EXPECT_EQ(notices.size(), 2);
    detector->start(1);
    detector->stop();
    timeline.advance(60);
    EXPECT_EQ(notices.size(), 2);
}

TEST_F(Watching, KnowsNobodyIdleWithoutASourceAndNothingAfterItsEnd) {
    input.isAvailable = false;
    detector->start(1);
    timeline.advance(600);
    EXPECT_TRUE(notices.isEmpty());
    input.isAvailable = true;
    detector.reset();
    timeline.advance(600);
    EXPECT_TRUE(notices.isEmpty());
}

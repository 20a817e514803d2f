#include "platform/simulated/SimulatedInput.h"
#include "tests/support/LogCapture.h"
#include "tracking/ActivityTracker.h"
#include "tracking/IdleDetector.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

using enum InputEventType;

namespace {

struct Input : testing::Test {
    Timeline timeline;
    SimulatedClock clock{timeline};
    SimulatedExecutor utility{timeline};
    SimulatedInput input{timeline};
    ActivityTracker tracker{input, clock};
    QStringList notices;
    std::optional<IdleDetector> detector{std::in_place, input, utility};

    Input() {
        detector->onIdle = [this](IdleDetector::Run) { notices << u"idle@%1"_s.arg(timeline.uptime()); };
        detector->onActive = [this](IdleDetector::Run) { notices << u"active@%1"_s.arg(timeline.uptime()); };
    }
};

} // namespace

TEST_F(Input, CountsByTheEventType) {
    const auto click = static_cast<InputEventType>(1);
    for (const auto& [type, mouse, keyboard] : {std::tuple(mouseMoved, 1, 0),
                                                {leftMouseDragged, 1, 0},
                                                {keyDown, 0, 1},
                                                {click, 0, 0},
                                                {disabledByTimeout, 0, 0}}) {
        tracker.reset();
        tracker.handleEvent(type);
        const bool counts = mouse + keyboard > 0;
        EXPECT_EQ(tracker.snapshot(1), (ActivitySnapshot{mouse, keyboard, 0}));
        EXPECT_EQ(tracker.latestInputAt(), counts ? std::optional(clock.now()) : std::nullopt);
        EXPECT_EQ(tracker.consumeHadInputThisSecond(), counts);
        EXPECT_FALSE(tracker.consumeHadInputThisSecond()); // taken away by the first look
    }
}

TEST_F(Input, KeepsOneTapAndTheTotalsBetweenStartsAndScoresThem) {
    EXPECT_TRUE(tracker.start());
    EXPECT_TRUE(tracker.start());
    EXPECT_EQ(input.tapsOpened, 1);
    input.happen(keyDown, 3);
    tracker.stop();
    input.happen(keyDown, 5); // nobody listens
    EXPECT_TRUE(tracker.start());
    input.happen(mouseMoved);
    for (int i = 0; i < 90; ++i)
        tracker.recordActiveSecondForSession();
    for (const auto& [tracked, score] : {std::pair{180, 50}, {60, 100}, {0, 0}, {-5, 0}})
        EXPECT_EQ(tracker.snapshot(tracked), (ActivitySnapshot{1, 3, double(score)}));

    LogCapture log;
    input.happen(disabledByTimeout, 40);
    EXPECT_EQ(input.enables, 40);
    EXPECT_EQ(log.count("Event tap disabled by the desktop (type 4294967294) — re-enabling"), 40);
    tracker.stop();
    input.isAvailable = false;
    EXPECT_FALSE(tracker.start());
    EXPECT_TRUE(log.contains("Failed opening the input event tap"));
}

TEST_F(Input, TellsOnlyTheEdgesOfItsAbsence) {
    detector->start(2);
    timeline.advance(220);
    input.happen(leftMouseDragged); // a drag is no movement for the watcher
    timeline.advance(10);
    EXPECT_EQ(notices, QStringList{"idle@120"});
    input.happen(keyDown);
    timeline.advance(430);
    EXPECT_EQ(notices.mid(1), (QStringList{"active@235", "idle@350"}));
}

TEST_F(Input, IsWatchedAnewByEachRun) {
    for (const qint64 minutes : {0, -7, 1}) { // below 1 counts as 1
        notices.clear();
        input.happen(mouseMoved);
        detector->start(minutes);
        timeline.advance(64);
        detector->stop();
        timeline.advance(200);
        EXPECT_EQ(notices.size(), 1) << minutes;
    }
    detector->start(1); // long idle already: told at once, again
    timeline.settle();
    EXPECT_EQ(notices.size(), 2);
    input.isAvailable = false; // nobody is called idle, or active
    timeline.advance(60);
    input.isAvailable = true;
    detector.reset();
    input.happen(mouseMoved);
    timeline.advance(600);
    EXPECT_EQ(notices.size(), 2);
}

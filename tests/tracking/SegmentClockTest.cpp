// Ten-minute slots: what is counted, when it is written, and when it is sent.

#include "EngineFixture.h"
#include "LogCapture.h"

#include <QJsonArray>
#include <gtest/gtest.h>

namespace {

struct SegmentClock : testing::Test {
    EngineFixture world{"2024-05-15T09:00:30Z"};
    SessionManager& engine = world.engine();

    /// date|number|active|non-idle|mouse|keys of every slot.
    QStringList slots() const {
        return world.sql("SELECT segment_date, segment_number, active_seconds, non_idle_seconds, "
                         "mouse_movements, keyboard_movements FROM activity_segments ORDER BY 1, 2");
    }
};

} // namespace

TEST_F(SegmentClock, CountsSecondsAndEventsApart) {
    world.start();
    world.typeFor(20);
    world.machine.input.happen(InputEventType::mouseMoved, 50);
    world.tick(39);
    EXPECT_EQ(slots(), QStringList()); // nothing on disk before a minute
    world.tick(1);
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|21|60|50|20"});
    world.tick(30);
    engine.stopTracking(); // flushes
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|21|90|50|20"});
    world.tick(120); // off
    world.start();   // the same slot goes on
    world.typeFor(10);
    engine.stopTracking();
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|31|100|50|30"});
}

TEST_F(SegmentClock, CountsNoPauseAsTracked) {
    world.start();
    world.tick(10);
    engine.pauseTracking();
    world.tick(100);
    engine.stopTracking();
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|0|10|0|0"});
}

TEST_F(SegmentClock, ClosesASlotAndSendsIt) {
    world.start();
    LogCapture log;
    world.typeFor(575);
    EXPECT_EQ(log.count("Segment rollover: 2024-05-15#54 → 2024-05-15#55"), 1);
    EXPECT_EQ(slots().at(0), "2024-05-15|54|569|569|0|569");
    const auto batches = world.bodies("segments/batch");
    ASSERT_EQ(batches.size(), 1);
    EXPECT_EQ(batches[0].value("segments").toArray().size(), 1);
    EXPECT_EQ(world.sql("SELECT count(*) FROM activity_segments WHERE uploaded_at IS NULL"),
              QStringList{"0"});
    EXPECT_EQ(world.sql("SELECT count(*) FROM upload_queue WHERE type = 'activitySegment'"),
              QStringList{"0"});
}

TEST_F(SegmentClock, ClosesTheDaysLastSlot) {
    EngineFixture night("2024-05-15T23:59:50Z");
    night.start();
    LogCapture log;
    night.tick(20);
    EXPECT_TRUE(log.contains("Segment rollover: 2024-05-15#143 → 2024-05-16#0"));
}

TEST_F(SegmentClock, DoesNotCountSleep) {
    world.start();
    world.tick(60);
    world.sleepMachine(3 * 3600);
    world.machine.input.happen(InputEventType::mouseMoved);
    world.tick(60);
    EXPECT_EQ(slots().at(0), "2024-05-15|54|0|60|0|0");
    EXPECT_EQ(slots().at(1).section('|', 1, 3), "72|1|60");
}

TEST_F(SegmentClock, WritesNothingForASlotWithoutCounts) {
    world.start();
    engine.pauseTracking();
    world.tick(1500); // two boundaries, twenty-five minutes of nothing
    EXPECT_EQ(slots(), QStringList());
    EXPECT_TRUE(world.bodies("segments/batch").empty());
    world.machine.input.happen(InputEventType::mouseMoved);
    engine.resumeTracking();
    world.tick(28);
    EXPECT_EQ(slots(), QStringList());
    world.tick(1); // the tick counter has gone round all the while
    EXPECT_EQ(slots(), QStringList{"2024-05-15|56|0|29|0|0"});
}

TEST_F(SegmentClock, OverwritesTheSlotAfterARestart) {
    world.start();
    world.tick(120);
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|0|120|0|0"});
    world.restart();
    world.engine().resumeInterruptedSession();
    world.tick(60);
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|0|60|0|0"});
}

TEST_F(SegmentClock, FollowsAChangeOfTheCompanysZone) {
    world.start();
    world.tick(30);
    world.config.appTimezone = "America/New_York";
    engine.applyConfig(world.config);
    LogCapture log;
    world.tick(30);
    EXPECT_TRUE(log.contains("Segment rollover: 2024-05-15#54 → 2024-05-15#30"));
    engine.stopTracking();
    EXPECT_EQ(slots(), (QStringList{"2024-05-15|30|0|30|0|0", "2024-05-15|54|0|30|0|0"}));
}

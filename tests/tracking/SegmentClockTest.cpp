// Ten-minute slots: what is counted, when it is written, and when it is sent.

#include "EngineTest.h"

#include <QJsonArray>

namespace {

struct SegmentClock : EngineTest {
    SegmentClock()
        : EngineTest("2024-05-15T09:00:30Z") {
        world.start();
    }

    /// date|number|active|non-idle|mouse|keys of every slot.
    QStringList slots() const {
        return world.sql("SELECT segment_date, segment_number, active_seconds, non_idle_seconds, "
                         "mouse_movements, keyboard_movements FROM activity_segments ORDER BY 1, 2");
    }
};

} // namespace

TEST_F(SegmentClock, CountsAndWritesEachMinuteAndAtTheEnd) {
    world.typeFor(20);
    world.machine.input.happen(InputEventType::mouseMoved, 50);
    world.tick(39);
    EXPECT_EQ(slots(), QStringList());
    world.tick(1);
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|21|60|50|20"});
    world.tick(30);
    engine().pauseTracking();
    world.tick(5); // a pause is not tracked
    engine().stopTracking();
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|21|90|50|20"});
    world.tick(60);
    world.start(); // the same slot goes on
    world.typeFor(10);
    engine().stopTracking();
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|31|100|50|30"});
}

TEST_F(SegmentClock, SendsASlotWhenItCloses) {
    world.typeFor(575);
    EXPECT_EQ(world.bodies("segments/batch").size(), 1);
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|569|569|0|569"});
}

TEST_F(SegmentClock, KeepsTheCountsOfOneCompanyOutOfTheNext) {
    world.typeFor(30);
    engine().stopTracking();
    world.signIn("https://b.test/api/v1/");
    world.start();
    world.typeFor(10);
    engine().stopTracking();
    EXPECT_EQ(world.sql("SELECT domain_key, active_seconds FROM activity_segments ORDER BY 1"),
              (QStringList{"acme.test|30", "b.test|10"}));
}

TEST_F(SegmentClock, AddsToTheSlotAfterARestartAndFollowsTheCompanysZone) {
    world.tick(120);
    world.restart();
    engine().resumeInterruptedSession();
    world.tick(60);
    world.config.appTimezone = "America/New_York";
    world.applyConfig();
    world.tick(30);
    engine().stopTracking();
    EXPECT_EQ(slots(), (QStringList{"2024-05-15|30|0|30|0|0", "2024-05-15|54|0|180|0|0"}));
}

TEST_F(SegmentClock, AddsToASlotThatAClockSetBackEntersAgainAndSendsTheSum) {
    world.typeFor(100);
    world.jumpTo("2024-05-15T09:15:00Z"); // slot 54 closes and is sent
    world.typeFor(50);
    world.jumpTo("2024-05-15T09:05:00Z");
    world.typeFor(20);
    world.jumpTo("2024-05-15T09:18:00Z");
    world.typeFor(10);
    engine().stopTracking();
    EXPECT_EQ(slots(), (QStringList{"2024-05-15|54|120|120|0|120", "2024-05-15|55|60|60|0|60"}));
    EXPECT_EQ(world.bodies("segments/batch").back()["segments"][0]["key_press_count"], 120);
}

TEST_F(SegmentClock, KeepsTheCountsThatTheDatabaseDidNotTake) {
    world.sql("CREATE TRIGGER refusing BEFORE INSERT ON activity_segments BEGIN SELECT RAISE(ABORT, 'full'); END");
    world.typeFor(1000); // over the end of a slot
    engine().stopTracking();
    EXPECT_EQ(slots(), QStringList());
    world.sql("DROP TRIGGER refusing");
    world.tick(61);
    EXPECT_EQ(slots(), (QStringList{"2024-05-15|54|569|569|0|569", "2024-05-15|55|431|431|0|431"}));
}

TEST_F(SegmentClock, IsOnDiskWhenTheMachineSleepsOrEnds) {
    world.typeFor(30);
    world.machine.power.willSleep();
    world.tick(0);
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|30|30|0|30"});
    resume();
    world.typeFor(20);
    world.machine.power.willTerminate();
    EXPECT_EQ(slots(), QStringList{"2024-05-15|54|50|50|0|50"});
}

TEST_F(SegmentClock, SendsEachSlotWithTheZoneThatNamedIt) {
    world.config.appTimezone = "America/New_York";
    world.applyConfig();
    world.typeFor(30);
    world.sql("INSERT INTO activity_segments (domain_key, segment_date, segment_number, active_seconds) "
              "VALUES ('acme.test', '2024-05-14', 7, 1)"); // of an earlier version, which kept no zone
    world.config.appTimezone = "Europe/Berlin";            // hours ahead: the slot of New York is closed
    world.applyConfig();
    world.typeFor(5);
    const QJsonArray sent = world.bodies("segments/batch").back()["segments"].toArray();
    EXPECT_EQ(sent.at(0)["timezone"], "Europe/Berlin");
    EXPECT_EQ(sent.at(1)["timezone"], "America/New_York");
}

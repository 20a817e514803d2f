// Sessions that an earlier run, or another company, left behind.

#include "EngineFixture.h"
#include "LogCapture.h"
#include "TrackingHeartbeat.h"

#include <gtest/gtest.h>

namespace {

struct SessionRecovery : testing::Test {
    EngineFixture world;

    SessionManager& engine() { return world.engine(); }
    static Date at(const char* text) { return EngineFixture::at(text); }

    /// A session of an earlier run, as its row tells.
    Session leftBehind(const std::vector<std::pair<const char*, const char*>>& intervals) {
        Session session;
        session.id = world.machine.random.uuid();
        session.deviceId = "device";
        session.projectId = "p1";
        session.projectName = "First";
        session.mouseCount = 7;
        for (const auto& [start, stop] : intervals)
            session.intervals.push_back(
                {world.machine.random.uuid(), at(start), stop ? std::optional(at(stop)) : std::nullopt});
        world.core->store.saveActiveSession(session);
        return session;
    }
    void mark(const Session& session, const char* text) {
        TrackingHeartbeat::record(session.id, at(text), world.machine.preferences);
    }
    void resume() {
        world.machine.input.happen(InputEventType::mouseMoved);
        engine().resumeInterruptedSession();
    }
};

} // namespace

TEST_F(SessionRecovery, BillsACrashUpToTheLastMark) {
    const struct {
        const char* mark;
        Seconds billed;
        bool isStale;
    } cases[] = {
        {"2024-05-15T08:30:00Z", 1800, false},
        {nullptr, 0, false},
        {"2024-05-15T07:00:00Z", 0, true},
        {"2024-05-15T23:00:00Z", 3600, false}, // from a clock that went wrong: not beyond now
    };
    for (const auto& c : cases) {
        const Session left =
            leftBehind({{"2024-05-15T07:10:00Z", "2024-05-15T07:20:00Z"}, {"2024-05-15T08:00:00Z", nullptr}});
        if (c.mark)
            mark(left, c.mark);
        world.jumpTo("2024-05-15T09:00:00Z");
        world.restart();
        EXPECT_EQ(world.message(), "Recovered interrupted session " + uuidText(left.id) + ".");
        LogCapture log;
        resume();
        EXPECT_EQ(log.contains("Stale heartbeat on recovery: 2024-05-15T07:00:00Z < intervalStart "
                               "2024-05-15T08:00:00Z; billing 0 for that interval"),
                  c.isStale);
        const Session& session = world.session();
        EXPECT_EQ(session.id, left.id);
        EXPECT_EQ(session.totalSeconds(world.machine.clock.now()), 600 + c.billed);
        EXPECT_EQ(session.intervals.back().startedAt, world.machine.clock.now());
        EXPECT_EQ(world.mark(left.id), world.machine.clock.now());
        EXPECT_EQ(world.activeSessions(), std::vector{session});
        EXPECT_TRUE(engine().isCaptureEligible());
        EXPECT_FALSE(engine().interruptedSession());
        world.tick(1);
        EXPECT_EQ(world.bodies("sessions/start").back().value("session_uuid"), uuidText(left.id));
        engine().stopTracking();
        world.tick(1);
    }
}

TEST_F(SessionRecovery, CutsTheIdleTimeOfACrash) {
    Session left = leftBehind({{"2024-05-15T08:00:00Z", "2024-05-15T08:30:00Z"}});
    left.idleDiscardCutoffAt = at("2024-05-15T08:25:00Z");
    world.core->store.saveActiveSession(left);
    world.restart();
    resume();
    EXPECT_EQ(world.session().intervals.front().stoppedAt, at("2024-05-15T08:25:00Z"));
    EXPECT_FALSE(world.session().idleDiscardCutoffAt);
}

TEST_F(SessionRecovery, EndsYesterdaysSessionYesterday) {
    const Session left =
        leftBehind({{"2024-05-14T20:00:00Z", "2024-05-14T21:00:00Z"},
                    {"2024-05-14T23:00:00Z", "2024-05-15T01:00:00Z"}, // reaches into today: cut
                    {"2024-05-15T02:00:00Z", nullptr}});
    world.restart();
    resume();
    const Session ended = world.finishedSessions().at(0);
    EXPECT_EQ(ended.id, left.id);
    ASSERT_EQ(ended.intervals.size(), 2);
    EXPECT_EQ(ended.intervals.back().stoppedAt, at("2024-05-15T00:00:00Z") - 0.001);
    EXPECT_EQ(ended.reportedTotalSeconds, 7199);
    EXPECT_EQ(ended.mouseCount, 7); // the stored counts stay
    EXPECT_NE(world.session().id, left.id);
    EXPECT_EQ(world.session().projectName, "First");
    EXPECT_FALSE(engine().crossDayAutoCompletedProject());
    EXPECT_EQ(world.activeSessions().size(), 1);
    EXPECT_EQ(engine().todayTotalSeconds(), 0);
}

TEST_F(SessionRecovery, DiscardsByTheSameRules) {
    leftBehind({{"2024-05-15T08:00:00Z", nullptr}});
    world.restart();
    engine().discardInterruptedSession();
    EXPECT_EQ(world.finishedSessions().at(0).reportedTotalSeconds, 3600); // ends when it is found
    EXPECT_FALSE(engine().interruptedSession());
    EXPECT_EQ(engine().todayTotalSeconds(), 3600);

    leftBehind({{"2024-05-14T22:00:00Z", nullptr}});
    world.restart();
    engine().discardInterruptedSession();
    EXPECT_EQ(world.finishedSessions().back().reportedTotalSeconds, 7199);
    EXPECT_EQ(world.message(), "Previous session was ended because it crossed midnight.");
    const auto banner = engine().crossDayAutoCompletedProject();
    ASSERT_TRUE(banner);
    EXPECT_EQ(banner->name, "First");
    engine().dismissCrossDayBanner();
    EXPECT_FALSE(engine().crossDayAutoCompletedProject());
    engine().discardInterruptedSession(); // nothing more to discard
    EXPECT_EQ(world.finishedSessions().size(), 2);
}

TEST_F(SessionRecovery, FinishesWhatIsStaleBeforeANewStart) {
    const Session open = leftBehind({{"2024-05-15T08:00:00Z", nullptr}});
    const Session closed = leftBehind({{"2024-05-15T07:00:00Z", "2024-05-15T07:30:00Z"}});
    const Session empty = leftBehind({});
    world.restart();
    LogCapture log;
    world.start();
    EXPECT_EQ(log.count("Completed stale active session"), 3);
    EXPECT_FALSE(engine().interruptedSession()); // nothing that could be resumed a second time
    qint64 total = 0;
    for (const Session& session : world.finishedSessions())
        total += session.reportedTotalSeconds.value();
    EXPECT_EQ(total, 3600 + 1800 + 0);
    EXPECT_EQ(world.activeSessions().size(), 1);
    world.tick(5);
    EXPECT_EQ(world.bodies("sessions/heartbeat").size(), 3);
    EXPECT_EQ(engine().todayTotalSeconds(), 3600 + 1800 + 5);
}

TEST_F(SessionRecovery, SwapsThePendingSessionWithTheCompany) {
    const Session ours = leftBehind({{"2024-05-15T08:00:00Z", "2024-05-15T08:10:00Z"}});
    world.signIn("https://other.test/api/v1/");
    engine().recoverInterruptedSessionForCurrentDomain();
    EXPECT_FALSE(engine().interruptedSession());
    EXPECT_EQ(world.message(), "");
    const Session theirs = leftBehind({{"2024-05-15T08:00:00Z", "2024-05-15T08:10:00Z"}});
    engine().recoverInterruptedSessionForCurrentDomain();
    EXPECT_EQ(engine().interruptedSession(), theirs);
    world.signIn();
    engine().recoverInterruptedSessionForCurrentDomain();
    EXPECT_EQ(engine().interruptedSession(), ours);
    EXPECT_EQ(world.message(), "Recovered interrupted session " + uuidText(ours.id) + ".");
    DomainStorage(world.machine.preferences).setBaseURL(std::nullopt);
    world.restart();
    EXPECT_FALSE(engine().interruptedSession()); // nobody is signed in
}

TEST_F(SessionRecovery, AddsRecoveredHoursOnlyOnce) {
    const Session left = leftBehind({{"2024-05-15T07:00:00Z", "2024-05-15T08:00:00Z"}});
    world.restart();
    engine().applyServerTodayTotal({3600, "2024-05-15"}); // the server knows that hour
    EXPECT_EQ(engine().todayTotalSeconds(), 3600);
    resume();
    EXPECT_EQ(engine().todayTotalSeconds(), 3600);
    world.tick(10);
    EXPECT_EQ(engine().todayTotalSeconds(), 3610);
    engine().stopTracking();
    EXPECT_EQ(engine().todayTotalSeconds(), 3610);

    leftBehind({{"2024-05-15T08:00:00Z", "2024-05-15T08:30:00Z"}});
    engine().applyServerTodayTotal({5410, "2024-05-15"});
    world.start(); // finishes the stale one first
    EXPECT_EQ(engine().todayTotalSeconds(), 5410);
}

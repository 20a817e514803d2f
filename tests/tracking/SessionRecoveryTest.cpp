// Sleep, clock changes and the end of the program, and the sessions that an earlier run left behind.

#include "EngineTest.h"
#include "storage/TrackingHeartbeat.h"
#include "tests/support/LogCapture.h"

#include <iterator>
#include <span>

namespace {

struct SessionRecovery : EngineTest {
    /// A session of an earlier run, as its row tells; "" is an open end or no mark. The program starts on it.
    Session leftBehind(const std::vector<std::pair<const char*, const char*>>& intervals, const char* cutoff = "",
                       const char* mark = "") {
        const auto moment = [](const char* text) { return *text ? std::optional(at(text)) : std::nullopt; };
        Session session;
        session.id = world.machine.random.uuid();
        session.projectId = "p1";
        session.projectName = "First";
        session.mouseCount = 7;
        session.idleDiscardCutoffAt = moment(cutoff);
        for (const auto& [start, stop] : intervals)
            session.intervals.push_back({world.machine.random.uuid(), at(start), moment(stop)});
        world.core->store.saveActiveSession(session);
        if (*mark)
            TrackingHeartbeat::record(session.id, at(mark), world.machine.preferences);
        world.restart();
        touch();
        return session;
    }
};

} // namespace

TEST_F(SessionRecovery, GoesOnFromTheStoredCounts) {
    world.start();
    world.typeFor(3600);
    world.machine.power.willTerminate(); // the counts are on disk, not only those of the last picture
    world.restart();
    engine().resumeInterruptedSession();
    world.typeFor(60);
    EXPECT_EQ(engine().keyboardEvents(), 3660);
    world.tick(240);
    engine().stopTracking();
    EXPECT_EQ(lastFinished().keyboardCount, 3660);
    EXPECT_EQ(lastFinished().mouseCount, 0);
    EXPECT_NEAR(lastFinished().activityScore, 100 * 3660 / 3900.0, 0.1);
}

TEST_F(SessionRecovery, BillsNeitherASleepThatNobodyAnnouncedNorAClockThatIsSet) {
    SimulatedPower& power = world.machine.power;
    Timeline& timeline = world.machine.timeline;
    constexpr Seconds tenYears = 10 * 365.25 * 86400;
    const std::pair<std::function<void()>, std::size_t> moves[] = {
        // and the sessions that come of it
        {[&] { timeline.sleepMachine(36 * 3600), power.didWake(); }, 2},
        {[&] { timeline.sleepMachine(36 * 3600); }, 2}, // not even its end is named
        {[&] { timeline.jumpWallClock(3600); }, 1},
        {[&] { timeline.jumpWallClock(-3600); }, 1},
        {[&] { timeline.jumpWallClock(tenYears); }, 2},
        {[&] { timeline.jumpWallClock(-tenYears); }, 2},
        {[&] { timeline.jumpWallClock(3600), engine().pauseTracking(), engine().resumeTracking(); }, 1},
    };
    for (const auto& [move, sessions] : moves) {
        startAt("2024-05-15T12:00:00Z");
        world.tick(0.5);
        auto finished = world.finishedSessions();
        const auto before = finished.size();
        move();
        world.tick(30.25);
        engine().stopTracking();
        finished = world.finishedSessions();
        EXPECT_EQ(finished.size(), before + sessions);
        Seconds billed = 0;
        for (const Session& session : std::span(finished).subspan(before))
            billed += session.totalSeconds(now());
        EXPECT_NEAR(billed, 90.75, 0.01);
    }
    world.start();
    timeline.jumpWallClock(3600);
    world.tick(1.2);
    EXPECT_EQ(world.mark(world.session().id), world.session().intervals.back().startedAt); // a crash finds it
    EXPECT_EQ(world.activeSessions(), std::vector{world.session()});
}

TEST_F(SessionRecovery, ReportsNothingOfASleepThatNoTickHasSeen) {
    world.start();
    world.tick(60.5);
    world.machine.timeline.sleepMachine(8 * 3600);
    engine().applyServerTodayTotal({5000, "2024-05-15"});
    engine().handleCaptureComplete();
    world.tick(10);
    EXPECT_NEAR(world.bodies("sessions/heartbeat").back().value("total_seconds").toInt(), 60, 1);
    EXPECT_NEAR(engine().todayTotalSeconds(), 5010, 1);
}

TEST_F(SessionRecovery, TakesASlowDiskForNoStepOfTheClock) {
    static Timeline* timeline = nullptr;
    timeline = &world.machine.timeline;
    world.jumpTo("2024-05-15T23:58:00Z");
    world.start();
    world.typeFor(119);
    const auto previous = qInstallMessageHandler([](QtMsgType, const auto&, const QString& line) {
        if (line.startsWith("Midnight rollover"))
            timeline->stall(1.5);
    });
    world.tick(60);
    qInstallMessageHandler(previous);
    EXPECT_EQ(world.session().intervals.size(), 1U);
}

TEST_F(SessionRecovery, BillsACrashUpToTheLastMark) {
    const auto billed = [this](const char* mark) {
        const Session left =
            leftBehind({{"2024-05-15T07:10:00Z", "2024-05-15T07:20:00Z"}, {"2024-05-15T08:00:00Z", ""}});
        if (mark)
            TrackingHeartbeat::record(left.id, at(mark), world.machine.preferences);
        EXPECT_EQ(world.message(), "An unfinished session was found.");
        world.jumpTo("2024-05-15T09:00:00Z");
        engine().resumeInterruptedSession();
        const Session session = world.session();
        EXPECT_EQ(session.intervals.back().startedAt, now());
        EXPECT_GE(session.intervals[1].stoppedAt, session.intervals[1].startedAt);
        EXPECT_EQ(world.mark(left.id), now());
        EXPECT_EQ(world.activeSessions(), std::vector{session});
        const Seconds total = session.totalSeconds(now()) - 600;
        world.tick(1);
        EXPECT_EQ(world.bodies("sessions/start").back().value("session_uuid"), uuidText(left.id));
        engine().stopTracking();
        return total;
    };
    LogCapture log;
    EXPECT_EQ(billed("2024-05-15T08:30:00Z"), 1800);
    EXPECT_EQ(billed(nullptr), 0);
    EXPECT_EQ(billed("2024-05-15T23:00:00Z"), 3600); // from a clock that went wrong: not beyond now
    EXPECT_FALSE(log.contains("Stale heartbeat"));
    EXPECT_EQ(billed("2024-05-15T07:00:00Z"), 0);
    EXPECT_TRUE(log.contains("Stale heartbeat on recovery: 2024-05-15T07:00:00Z < intervalStart "
                             "2024-05-15T08:00:00Z; billing 0 for that interval"));
}

TEST_F(SessionRecovery, EndsYesterdaysSessionYesterday) {
    const Session left = leftBehind({{"2024-05-14T20:00:00Z", "2024-05-14T21:00:00Z"},
                                     {"2024-05-14T23:00:00Z", "2024-05-15T01:00:00Z"},
                                     {"2024-05-15T02:00:00Z", ""}});
    engine().resumeInterruptedSession();
    EXPECT_EQ(lastFinished().id, left.id);
    EXPECT_EQ(lastFinished().intervals.back().stoppedAt, at("2024-05-15T00:00:00Z") - 0.001);
    EXPECT_EQ(lastTotal(), 7199);
    EXPECT_EQ(lastFinished().mouseCount, 7); // the stored counts stay
    EXPECT_EQ(today(), 3600);                // what ran today is a session of today
    EXPECT_EQ(world.session().projectName, "First");
    EXPECT_FALSE(engine().crossDayAutoCompletedProject());
    EXPECT_EQ(world.activeSessions().size(), 1);
    world.tick(1);
    EXPECT_EQ(endsReported(left.id), 1);
    EXPECT_EQ(sessionsNamed("sessions/start").size(), 2U); // of today's part, and of the new session
    EXPECT_EQ(sessionsNamed("sessions/heartbeat").size(), 2U);
}

TEST_F(SessionRecovery, DiscardsByTheSameRules) {
    leftBehind({{"2024-05-15T08:00:00Z", ""}}, "", "2024-05-15T08:10:00Z");
    engine().discardInterruptedSession();
    EXPECT_EQ(lastTotal(), 600);
    EXPECT_EQ(today(), 600);
    leftBehind({{"2024-05-14T22:00:00Z", ""}}, "", "2024-05-14T22:05:00Z");
    engine().discardInterruptedSession();
    EXPECT_EQ(lastTotal(), 300);
    EXPECT_EQ(world.message(), "Previous session was ended because it crossed midnight.");
    EXPECT_EQ(engine().crossDayAutoCompletedProject(), (SessionManager::ProjectReference{"p1", "First"}));
    EXPECT_EQ(engine().selectedProjectId(), "p1");
}

TEST_F(SessionRecovery, FinishesAnUnfinishedSessionOnRequestWhereItStopped) {
    LogCapture log;
    const Session left = leftBehind({{"2024-05-15T08:00:00Z", ""}});
    TrackingHeartbeat::record(left.id, at("2024-05-15T08:30:00Z"), world.machine.preferences);
    EXPECT_TRUE(log.contains("Recovered interrupted session " + uuidText(left.id)));
    engine().finishInterruptedSession();
    EXPECT_EQ(world.message(), "The unfinished session was ended at its last recorded moment.");
    EXPECT_FALSE(engine().interruptedSession() || engine().isTracking());
    EXPECT_EQ(lastTotal(), 1800);
    world.tick(1);
    EXPECT_EQ(endsReported(left.id), 1);
}

TEST_F(SessionRecovery, FinishesWhatIsStaleBeforeANewStart) {
    leftBehind({{"2024-05-15T07:00:00Z", "2024-05-15T07:30:00Z"}}, "2024-05-15T07:25:00Z"); // left idle
    leftBehind({});
    leftBehind({{"2024-05-15T08:00:00Z", ""}}, "", "2024-05-15T08:50:00Z");
    engine().applyServerTodayTotal({4500, "2024-05-15"}); // knows them all
    world.start();
    EXPECT_FALSE(engine().interruptedSession()); // nothing that could be resumed a second time
    EXPECT_EQ(world.activeSessions().size(), 1);
    world.tick(5);
    EXPECT_EQ(world.bodies("sessions/heartbeat").size(), 2); // none for the one without an interval
    EXPECT_EQ(today(), 3000 + 1500 + 5);
}

TEST_F(SessionRecovery, KeepsASessionThatOutlivesASignOutForItsCompany) {
    startAt("2024-05-15T23:58:00Z");
    world.core->domain.setBaseURL(std::nullopt);
    world.typeFor(180);                                    // saved, and cut at midnight, with nobody signed in
    EXPECT_EQ(sessionsNamed("sessions/start").size(), 1U); // the other start waits for the company
    world.restart();
    world.signIn();
    engine().recoverInterruptedSessionForCurrentDomain();
    ASSERT_TRUE(engine().interruptedSession());
    EXPECT_EQ(world.activeSessions().size(), 1U);
    world.tick(60);
    EXPECT_EQ(sessionsNamed("sessions/start").size(), 2U);
    touch();
    const int pictures = world.machine.displays.picturesTaken;
    engine().resumeInterruptedSession();
    world.tick(61);
    EXPECT_EQ(world.machine.displays.picturesTaken, pictures + 1);
    EXPECT_EQ(endsReported(lastFinished().id), 1);
    EXPECT_EQ(world.bodies("sessions/start").back().value("session_uuid"), uuidText(world.session().id));
    engine().recoverInterruptedSessionForCurrentDomain(); // by a sign-in that ends late
    EXPECT_FALSE(engine().interruptedSession());
}

TEST_F(SessionRecovery, AddsRecoveredHoursOnlyOnceAndWithoutTheIdleTime) {
    leftBehind({{"2024-05-15T07:00:00Z", "2024-05-15T08:00:00Z"}}, "2024-05-15T07:50:00Z");
    engine().applyServerTodayTotal({3000, "2024-05-15"}); // knows those minutes
    engine().resumeInterruptedSession();
    world.tick(10);
    engine().stopTracking();
    EXPECT_EQ(lastTotal(), 3010);
    EXPECT_EQ(today(), 3010);
}

TEST_F(SessionRecovery, CountsNothingOfAnotherCompanysSession) {
    leftBehind({{"2024-05-15T08:00:00Z", "2024-05-15T08:30:00Z"}});
    world.signIn("https://b.test/api/v1/");
    engine().recoverInterruptedSessionForCurrentDomain();
    world.start();
    world.typeFor(50);
    engine().stopTracking("why");
    world.signIn();
    engine().recoverInterruptedSessionForCurrentDomain();
    engine().resumeInterruptedSession();
    engine().stopTracking();
    EXPECT_EQ(lastFinished().keyboardCount, 0);
    world.signIn("https://b.test/api/v1/");
    engine().recoverInterruptedSessionForCurrentDomain();
    EXPECT_EQ(world.message(), ""); // nothing of the other company
}

TEST_F(SessionRecovery, ClosesARunningIntervalWhenTheProgramEndsAndLeavesAPausedOne) {
    LogCapture log;
    const auto rows = [this] { return world.sql("SELECT payload, updated_at FROM sessions"); };
    startAt("2024-05-15T10:00:00Z");
    engine().pauseTracking();
    const auto before = rows();
    world.tick(100);
    world.machine.power.willTerminate();
    EXPECT_EQ(rows(), before);
    EXPECT_FALSE(log.contains("Tracking interval closed on app termination"));
    resume();
    world.tick(10);
    world.machine.power.willTerminate();
    EXPECT_EQ(world.activeSessions()[0].intervals.back().stoppedAt, now());
    EXPECT_TRUE(log.contains("Tracking interval closed on app termination"));
}

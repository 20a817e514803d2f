// The decisions that need no engine, each as a table.

#include "IdlePolicy.h"
#include "SessionArithmetic.h"
#include "TodayTotal.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

/// Seconds after the epoch of the dates; a negative end means open.
struct Span {
    double start;
    double stop;
};

Session sessionOf(const std::vector<Span>& spans) {
    Session session;
    for (const Span& span : spans) {
        TrackingInterval interval{QUuid::createUuidV5(QUuid(), QByteArray::number(span.start)),
                                  Date::since2001(span.start), std::nullopt};
        if (span.stop >= 0)
            interval.stoppedAt = Date::since2001(span.stop);
        session.intervals.push_back(interval);
    }
    return session;
}

std::vector<Span> spansOf(const Session& session) {
    std::vector<Span> spans;
    for (const TrackingInterval& interval : session.intervals)
        spans.push_back({interval.startedAt.secondsSince2001,
                         interval.stoppedAt ? interval.stoppedAt->secondsSince2001 : -1});
    return spans;
}

bool operator==(const Span& a, const Span& b) {
    return a.start == b.start && a.stop == b.stop;
}

constexpr double open = -1;

} // namespace

TEST(SessionArithmetic, ClampsEveryIntervalToTheStop) {
    const struct {
        std::vector<Span> spans;
        std::vector<Span> expected;
    } cases[] = {
        {{}, {}},
        {{{10, 20}, {30, open}}, {{10, 20}, {30, 100}}},
        {{{10, 20}, {90, 150}}, {{10, 20}, {90, 100}}},
        {{{10, 20}, {101, open}, {110, 120}}, {{10, 20}}},
        {{{100, open}}, {{100, 100}}},             // touches the stop: kept, empty
        {{{50, 40}, {60, 70}}, {{60, 70}}},        // a wrong-way interval goes
        {{{120, 130}, {140, open}}, {{120, 100}}}, // nothing left: the first is kept up to the stop
    };
    for (const auto& c : cases) {
        Session session = sessionOf(c.spans);
        const QUuid first = c.spans.empty() ? QUuid() : session.intervals.front().id;
        SessionArithmetic::clampSessionIntervalsToStopAt(session, Date::since2001(100));
        EXPECT_EQ(spansOf(session), c.expected);
        if (!c.expected.empty() && c.expected[0].start == c.spans[0].start) {
            EXPECT_EQ(session.intervals.front().id, first);
        }
    }
}

TEST(SessionArithmetic, SettlesAnOpenEndByTheLastAliveMark) {
    const struct {
        double start;
        std::optional<double> mark;
        double now;
        double expected;
    } cases[] = {
        {100, 160, 1000, 160}, {100, 5000, 1000, 1000}, {100, 50, 1000, 100},
        {100, {}, 1000, 100},  {100, 160, 50, 100}, // the clock was set back behind the start
    };
    for (const auto& c : cases) {
        const auto mark = c.mark ? std::optional(Date::since2001(*c.mark)) : std::nullopt;
        EXPECT_EQ(SessionArithmetic::settledEnd(Date::since2001(c.start), mark, Date::since2001(c.now)),
                  Date::since2001(c.expected));
    }
}

TEST(SessionArithmetic, FreezesATotalWhateverTheClockDid) {
    const struct {
        std::vector<Span> spans;
        double asOf;
        qint64 expected;
    } cases[] = {
        {{}, 100, 0},
        {{{0, 0.9}}, 100, 0},
        {{{0, 10.7}, {20, open}}, 25.6, 16},
        {{{50, 20}}, 100, 0},
        {{{0, open}}, 1e300, 1'000'000'000'000'000},
        {{{0, open}}, std::numeric_limits<double>::quiet_NaN(), 0},
    };
    for (const auto& c : cases) {
        Session session = sessionOf(c.spans);
        SessionArithmetic::finish(session, Date::since2001(c.asOf));
        EXPECT_EQ(session.reportedTotalSeconds, c.expected);
        EXPECT_EQ(session.status, SessionStatus::completed);
        EXPECT_EQ(SessionArithmetic::sessionTotal(session, Date::since2001(1e9)), c.expected);
    }
}

TEST(SessionArithmetic, KnowsDaysOfTheZone) {
    const auto date = [](const char* text) {
        return Date::fromDateTime(QDateTime::fromString(QString::fromLatin1(text), Qt::ISODate));
    };
    const struct {
        const char* zone;
        const char* start;
        const char* now;
        bool crosses;
        const char* end; ///< of the first day
    } cases[] = {
        {"UTC", "2024-05-15T09:00:00Z", "2024-05-15T23:59:59Z", false, "2024-05-16T00:00:00Z"},
        {"UTC", "2024-05-15T09:00:00Z", "2024-05-16T00:00:00Z", true, "2024-05-16T00:00:00Z"},
        {"UTC", "2024-05-15T09:00:00Z", "2024-05-14T00:00:00Z", false, "2024-05-16T00:00:00Z"},
        {"Asia/Tokyo", "2024-05-15T09:00:00Z", "2024-05-15T15:00:00Z", true, "2024-05-15T15:00:00Z"},
        {"America/New_York", "2024-05-15T09:00:00Z", "2024-05-16T03:59:59Z", false, "2024-05-16T04:00:00Z"},
        {"Europe/Berlin", "2024-03-31T00:30:00Z", "2024-03-31T21:59:00Z", false, "2024-03-31T22:00:00Z"},
        {"Europe/Berlin", "2024-10-27T00:30:00Z", "2024-10-27T22:30:00Z", false, "2024-10-27T23:00:00Z"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.now);
        const QTimeZone zone(c.zone);
        Session session;
        session.intervals = {{QUuid(), date(c.start), std::nullopt}};
        EXPECT_EQ(SessionArithmetic::isSessionCrossDay(session, date(c.now), zone), c.crosses);
        EXPECT_EQ(SessionArithmetic::endOfFirstDay(session, zone), date(c.end) - 0.001);
    }
    EXPECT_FALSE(
        SessionArithmetic::isSessionCrossDay(Session(), date("2030-01-01T00:00:00Z"), QTimeZone::utc()));
    EXPECT_EQ(SessionArithmetic::endOfFirstDay(Session(), QTimeZone::utc()), std::nullopt);
}

TEST(IdlePolicy, DiscardsOnlyWhatLiesBehindTheCutoffInAClosedLastInterval) {
    const struct {
        std::vector<Span> spans;
        std::optional<double> cutoff;
        bool discards;
        std::vector<Span> expected;
    } cases[] = {
        {{{0, 50}, {60, 100}}, 80, true, {{0, 50}, {60, 80}}},
        {{{0, 50}, {60, 100}}, 80, false, {{0, 50}, {60, 100}}},
        {{{0, 50}, {60, 100}}, 30, true, {{0, 50}, {60, 60}}}, // never negative, earlier ones untouched
        {{{0, 50}, {60, 100}}, 200, true, {{0, 50}, {60, 100}}},
        {{{0, 50}, {60, open}}, 80, true, {{0, 50}, {60, open}}},
        {{{0, 50}}, {}, true, {{0, 50}}},
        {{}, 80, true, {}},
    };
    for (const auto& c : cases) {
        Session session = sessionOf(c.spans);
        if (c.cutoff)
            session.idleDiscardCutoffAt = Date::since2001(*c.cutoff);
        IdlePolicy::applyDiscard(session, c.discards);
        EXPECT_EQ(spansOf(session), c.expected);
        EXPECT_FALSE(session.idleDiscardCutoffAt);
    }
}

TEST(IdlePolicy, AsksUnlessToldOtherwise) {
    EXPECT_EQ(IdlePolicy::action(QString("stop")), IdlePolicy::Action::stop);
    EXPECT_EQ(IdlePolicy::action(QString("pause")), IdlePolicy::Action::pause);
    for (const char* text : {"ask", "", "Stop", "sleep"})
        EXPECT_EQ(IdlePolicy::action(QString::fromLatin1(text)), IdlePolicy::Action::ask);
    EXPECT_EQ(IdlePolicy::action(std::nullopt), IdlePolicy::Action::ask);
}

TEST(TodayTotal, IsTheServersFigurePlusLocalWorkAndNeverBelowLocal) {
    const QString today = "2024-05-15";
    const struct {
        double local;
        std::optional<ServerTodayTotal> server;
        double anchor;
        double expected;
    } cases[] = {
        {1000, {}, 0, 1000},
        {1000, ServerTodayTotal{3600, today}, 1000, 3600},
        {1001, ServerTodayTotal{3600, today}, 1000, 3601},
        {1000, ServerTodayTotal{100, today}, 1000, 1000},
        {1500, ServerTodayTotal{100, today}, 1000, 1500},
        {900, ServerTodayTotal{3600, today}, 1000, 3600}, // shrunk locally: the server's figure stands
        {5000, ServerTodayTotal{3600, today}, 6000, 5000},
        {1000, ServerTodayTotal{3600, "2024-05-14"}, 500, 1000},
        {1000, ServerTodayTotal{3600, "2024-05-16"}, 1000, 3600},
    };
    for (const auto& c : cases)
        EXPECT_EQ(TodayTotal::shown(c.local, c.server, c.anchor, today), c.expected);
}

TEST(TodayTotal, NeverGoesBackADay) {
    using enum TodayTotal::Verdict;
    const QString today = "2024-05-15";
    const struct {
        const char* incoming;
        const char* current;
        TodayTotal::Verdict expected;
    } cases[] = {
        {"2024-05-15", nullptr, accept},        {"2024-05-14", nullptr, outdated},
        {"2024-05-15", "2024-05-15", accept},   {"2024-05-16", "2024-05-15", accept},
        {"2024-05-15", "2024-05-14", accept},   {"2024-05-15", "2024-05-16", stale},
        {"2024-05-14", "2024-05-16", outdated},
    };
    for (const auto& c : cases) {
        const auto current =
            c.current ? std::optional(ServerTodayTotal{1, QString::fromLatin1(c.current)}) : std::nullopt;
        EXPECT_EQ(TodayTotal::judge({9, QString::fromLatin1(c.incoming)}, current, today), c.expected);
    }
}

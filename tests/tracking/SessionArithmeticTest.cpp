#include "tracking/SessionArithmetic.h"

#include "EngineTest.h"

#include <iterator>

TEST(SessionArithmetic, KnowsTheDaysOfASession) {
    const Date start = EngineFixture::at("2024-05-15T12:00:00Z");
    Session session;
    EXPECT_FALSE(SessionArithmetic::isSessionCrossDay(session, start, QTimeZone::utc()));
    session.intervals = {{{}, start, start + 60}, {{}, start + 120, {}}};
    for (const auto& [days, isLater] : {std::pair{-1, false}, {0, false}, {1, true}})
        EXPECT_EQ(SessionArithmetic::isSessionCrossDay(session, start + days * 86400, QTimeZone::utc()), isLater);
}

TEST(SessionArithmetic, CutsASessionAtEachMidnight) {
    const QTimeZone berlin("Europe/Berlin"); // its midnight is at 22:00 UTC
    const Date noon = EngineFixture::at("2024-05-15T12:00:00Z");
    constexpr Seconds hour = 3600;
    Session session;
    session.id = QUuid::createUuid();
    session.mouseCount = 7;
    session.idleDiscardCutoffAt = noon;
    session.intervals = {{{}, noon, noon + hour}, {{}, noon + 9 * hour, noon + 11 * hour}, {{}, noon + 12 * hour, {}}};
    const auto days = SessionArithmetic::byDays(session, noon + 35 * hour, berlin);
    ASSERT_EQ(days.size(), 3U);
    EXPECT_EQ(days, SessionArithmetic::byDays(session, noon + 35 * hour, berlin)); // the same ids
    EXPECT_EQ(days[0].id, session.id);
    EXPECT_NE(days[1].id, days[2].id);
    EXPECT_EQ(days[0].mouseCount + days[1].mouseCount + days[2].mouseCount, 7);
    EXPECT_FALSE(days[0].idleDiscardCutoffAt || days[1].idleDiscardCutoffAt);
    EXPECT_EQ(days[2].idleDiscardCutoffAt, noon);
    std::vector<std::pair<Seconds, Seconds>> spans;
    for (const Session& day : days)
        for (const TrackingInterval& interval : day.intervals)
            spans.emplace_back((interval.startedAt - noon) / hour, (interval.stoppedAt.value_or(noon) - noon) / hour);
    const Seconds justBefore = SessionArithmetic::midnightEpsilonSeconds / hour;
    const std::vector<std::pair<Seconds, Seconds>> expected = {
        {0, 1}, {9, 10 - justBefore}, {10, 11}, {12, 34 - justBefore}, {34, 0}};
    ASSERT_EQ(spans.size(), expected.size());
    for (std::size_t i = 0; i < spans.size(); ++i) {
        EXPECT_DOUBLE_EQ(spans[i].first, expected[i].first);
        EXPECT_NEAR(spans[i].second, expected[i].second, 1e-9);
    }
    EXPECT_EQ(SessionArithmetic::byDays(Session(), noon, berlin), std::vector{Session()});
}

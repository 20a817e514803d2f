// What a crash beyond midnight leaves of a session.

#include "SessionArithmetic.h"

#include <gtest/gtest.h>

namespace {

constexpr double open = -1;
/// From and to, in seconds after the epoch of the dates.
using Spans = std::vector<std::pair<double, double>>;

Session sessionOf(const Spans& spans) {
    Session session;
    for (const auto& [from, to] : spans) {
        session.intervals.push_back({QUuid(), Date::since2001(from), Date::since2001(to)});
        if (to == open)
            session.intervals.back().stoppedAt.reset();
    }
    return session;
}

} // namespace

TEST(SessionArithmetic, ClampsEveryIntervalToTheStop) {
    const struct {
        Spans spans, expected;
    } cases[] = {
        {{{10, 20}, {30, open}}, {{10, 20}, {30, 100}}},
        {{{10, 20}, {101, open}, {110, 120}}, {{10, 20}}},
        {{{100, open}}, {{100, 100}}},             // touches the stop: kept, empty
        {{{50, 40}, {60, 170}}, {{60, 100}}},      // a wrong-way interval goes
        {{{120, 130}, {140, open}}, {{120, 100}}}, // nothing left: the first is kept up to the stop
    };
    for (const auto& c : cases) {
        Session session = sessionOf(c.spans);
        SessionArithmetic::clampSessionIntervalsToStopAt(session, Date::since2001(100));
        EXPECT_EQ(session, sessionOf(c.expected)) << &c - cases;
    }
}

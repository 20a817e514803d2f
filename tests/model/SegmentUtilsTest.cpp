#include "SegmentUtils.h"

#include "ISO8601.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

struct Moment {
    const char *zone, *instant, *date;
    int number;
    const char* startOfDay;
};

/// Worked out with another implementation of the same time zone data.
const Moment moments[] = {
    {"UTC", "2024-02-29T23:59:59Z", "2024-02-29", 143, "2024-02-29T00:00:00Z"},
    {"Asia/Ho_Chi_Minh", "2024-05-01T17:00:00Z", "2024-05-02", 0, "2024-05-01T17:00:00Z"},
    {"Australia/Lord_Howe", "2024-04-06T14:59:59Z", "2024-04-07", 11, "2024-04-06T13:00:00Z"},
    {"Australia/Lord_Howe", "2024-04-06T15:00:00Z", "2024-04-07", 9, "2024-04-06T13:00:00Z"},
    {"America/New_York", "2024-03-10T06:59:59Z", "2024-03-10", 11, "2024-03-10T05:00:00Z"},
    {"America/New_York", "2024-03-10T07:00:00Z", "2024-03-10", 18, "2024-03-10T05:00:00Z"},
    {"America/New_York", "2024-11-03T06:30:00Z", "2024-11-03", 9, "2024-11-03T04:00:00Z"},
    {"America/Sao_Paulo", "2018-11-04T02:59:59Z", "2018-11-03", 143, "2018-11-03T03:00:00Z"},
    {"America/Sao_Paulo", "2018-11-04T03:00:00Z", "2018-11-04", 6, "2018-11-04T03:00:00Z"},
    {"Pacific/Apia", "2011-12-30T09:59:59Z", "2011-12-29", 143, "2011-12-29T10:00:00Z"},
    {"Pacific/Apia", "2011-12-30T10:00:00Z", "2011-12-31", 0, "2011-12-30T10:00:00Z"},
};

} // namespace

TEST(SegmentUtils, namesTheSlotAndTheStartOfItsDay) {
    for (const Moment& m : moments) {
        SCOPED_TRACE(m.instant);
        const QTimeZone zone(m.zone);
        const Date instant = *ISO8601::parse(m.instant);
        const auto slot = SegmentUtils::segmentDateAndNumber(instant, zone);
        EXPECT_EQ(slot.date.toStdString(), m.date);
        EXPECT_EQ(slot.number, m.number);
        EXPECT_EQ(SegmentUtils::calendarDate(instant, zone), ISO8601::parse(m.startOfDay));
        // The last fraction of a second belongs to the second that it began in.
        EXPECT_EQ(SegmentUtils::segmentDateAndNumber(instant + 0.999, zone), slot);
    }
}

TEST(SegmentUtils, daysTileInEveryZone) {
    for (const char* name :
         {"Asia/Kolkata", "Australia/Lord_Howe", "Pacific/Apia", "America/Sao_Paulo", "America/Havana",
          "Africa/Cairo", "America/St_Johns", "Europe/Berlin", "America/New_York"}) {
        const QTimeZone zone(name);
        const auto dateOf = [&zone](Date date) {
            return SegmentUtils::segmentDateAndNumber(date, zone).date;
        };
        // Every day on which the zone changes with its neighbours, and a sample of the others.
        std::vector<QDate> days;
        for (QDate day(1970, 1, 3); day.year() < 2100; day = day.addDays(29))
            days.push_back(day);
        const QDateTime first = QDateTime::fromSecsSinceEpoch(0, Qt::UTC);
        for (const auto& change : zone.transitions(first, first.addYears(130)))
            for (const int offset : {-1, 0, 1})
                days.push_back(change.atUtc.date().addDays(offset));
        for (const QDate day : days) {
            SCOPED_TRACE(testing::Message() << name << ' ' << day.toString(Qt::ISODate).toStdString());
            const Date noon = Date::fromDateTime(QDateTime(day, QTime(12, 0), Qt::UTC));
            const auto start = SegmentUtils::calendarDate(noon, zone);
            const auto next = SegmentUtils::startOfDayAfter(noon, 1, zone);
            ASSERT_TRUE(start && next);
            ASSERT_EQ(dateOf(*start), dateOf(noon));
            ASSERT_LT(dateOf(*start - 1), dateOf(noon));
            ASSERT_GT(dateOf(*next), dateOf(noon));
            ASSERT_EQ(dateOf(*next - 1), dateOf(noon));
        }
    }
}

TEST(SegmentUtils, countsCalendarDaysAndPassesASkippedOne) {
    const QTimeZone apia("Pacific/Apia");
    const Date before = *ISO8601::parse("2011-12-29T20:00:00Z"); // 10:00 on the 29th, the day before the gap
    for (const int days : {1, 2})
        EXPECT_EQ(SegmentUtils::startOfDayAfter(before, days, apia), ISO8601::parse("2011-12-30T10:00:00Z"));
    for (const double impossible : {std::numeric_limits<double>::infinity(), std::nan(""), 1e300, -1e300})
        EXPECT_FALSE(SegmentUtils::calendarDate(Date::since1970(impossible), apia)) << impossible;
}

#include "SegmentUtils.h"

#include "ISO8601.h"

#include <chrono>
#include <cmath>

#include <gtest/gtest.h>
#include <limits>

namespace {

struct Moment {
    const char* zone;
    const char* instant;
    const char* date;
    int number;
    const char* startOfDay;
};

/// Worked out with another implementation of the same time zone data.
const Moment moments[] = {
    {"UTC", "1970-01-01T00:00:00Z", "1970-01-01", 0, "1970-01-01T00:00:00Z"},
    {"UTC", "2024-02-29T23:59:59Z", "2024-02-29", 143, "2024-02-29T00:00:00Z"},
    {"UTC", "2100-02-28T23:59:59Z", "2100-02-28", 143, "2100-02-28T00:00:00Z"},
    {"UTC", "2100-03-01T00:00:00Z", "2100-03-01", 0, "2100-03-01T00:00:00Z"},
    {"Asia/Ho_Chi_Minh", "2024-05-01T16:59:59Z", "2024-05-01", 143, "2024-04-30T17:00:00Z"},
    {"Asia/Ho_Chi_Minh", "2024-05-01T17:00:00Z", "2024-05-02", 0, "2024-05-01T17:00:00Z"},
    {"Asia/Kolkata", "2024-02-28T18:29:59Z", "2024-02-28", 143, "2024-02-27T18:30:00Z"},
    {"Asia/Kolkata", "2024-02-28T18:30:00Z", "2024-02-29", 0, "2024-02-28T18:30:00Z"},
    {"Asia/Kathmandu", "2024-07-01T18:14:59Z", "2024-07-01", 143, "2024-06-30T18:15:00Z"},
    {"Asia/Kathmandu", "2024-07-01T18:15:00Z", "2024-07-02", 0, "2024-07-01T18:15:00Z"},
    {"Australia/Lord_Howe", "2024-04-06T14:59:59Z", "2024-04-07", 11, "2024-04-06T13:00:00Z"},
    {"Australia/Lord_Howe", "2024-04-06T15:00:00Z", "2024-04-07", 9, "2024-04-06T13:00:00Z"},
    {"Australia/Lord_Howe", "2024-10-05T15:30:00Z", "2024-10-06", 15, "2024-10-05T13:30:00Z"},
    {"Pacific/Chatham", "2024-01-01T10:14:59Z", "2024-01-01", 143, "2023-12-31T10:15:00Z"},
    {"Pacific/Chatham", "2024-01-01T10:15:00Z", "2024-01-02", 0, "2024-01-01T10:15:00Z"},
    {"America/New_York", "2024-03-10T06:59:59Z", "2024-03-10", 11, "2024-03-10T05:00:00Z"},
    {"America/New_York", "2024-03-10T07:00:00Z", "2024-03-10", 18, "2024-03-10T05:00:00Z"},
    {"America/New_York", "2024-11-03T05:30:00Z", "2024-11-03", 9, "2024-11-03T04:00:00Z"},
    {"America/New_York", "2024-11-03T06:30:00Z", "2024-11-03", 9, "2024-11-03T04:00:00Z"},
    {"America/New_York", "2099-07-04T12:00:00Z", "2099-07-04", 48, "2099-07-04T04:00:00Z"},
    {"America/New_York", "1970-07-04T12:00:00Z", "1970-07-04", 48, "1970-07-04T04:00:00Z"},
    {"Europe/Berlin", "2024-03-31T00:59:59Z", "2024-03-31", 11, "2024-03-30T23:00:00Z"},
    {"Europe/Berlin", "2024-03-31T01:00:00Z", "2024-03-31", 18, "2024-03-30T23:00:00Z"},
    {"Europe/Berlin", "2100-07-01T21:59:59Z", "2100-07-01", 143, "2100-06-30T22:00:00Z"},
    {"Europe/Berlin", "2100-07-01T22:00:00Z", "2100-07-02", 0, "2100-07-01T22:00:00Z"},
    {"America/Sao_Paulo", "2018-11-04T02:59:59Z", "2018-11-03", 143, "2018-11-03T03:00:00Z"},
    {"America/Sao_Paulo", "2018-11-04T03:00:00Z", "2018-11-04", 6, "2018-11-04T03:00:00Z"},
    {"America/Sao_Paulo", "2018-11-04T12:00:00Z", "2018-11-04", 60, "2018-11-04T03:00:00Z"},
    {"America/Sao_Paulo", "2018-02-18T02:30:00Z", "2018-02-17", 141, "2018-02-17T02:00:00Z"},
    {"Africa/Cairo", "2024-04-25T21:59:59Z", "2024-04-25", 143, "2024-04-24T22:00:00Z"},
    {"Africa/Cairo", "2024-04-25T22:00:00Z", "2024-04-26", 6, "2024-04-25T22:00:00Z"},
    {"Africa/Cairo", "2024-04-26T10:00:00Z", "2024-04-26", 78, "2024-04-25T22:00:00Z"},
    {"Asia/Beirut", "2022-03-26T21:59:59Z", "2022-03-26", 143, "2022-03-25T22:00:00Z"},
    {"Asia/Beirut", "2022-03-26T22:00:00Z", "2022-03-27", 6, "2022-03-26T22:00:00Z"},
    {"Asia/Beirut", "2022-03-27T09:00:00Z", "2022-03-27", 72, "2022-03-26T22:00:00Z"},
    {"America/Havana", "2024-11-03T04:30:00Z", "2024-11-03", 3, "2024-11-03T04:00:00Z"},
    {"America/Havana", "2024-11-03T05:30:00Z", "2024-11-03", 3, "2024-11-03T04:00:00Z"},
    {"Pacific/Apia", "2011-12-30T09:59:59Z", "2011-12-29", 143, "2011-12-29T10:00:00Z"},
    {"Pacific/Apia", "2011-12-30T10:00:00Z", "2011-12-31", 0, "2011-12-30T10:00:00Z"},
    {"Pacific/Kiritimati", "2000-01-01T09:59:59Z", "2000-01-01", 143, "1999-12-31T10:00:00Z"},
    {"Pacific/Kiritimati", "2000-01-01T10:00:00Z", "2000-01-02", 0, "2000-01-01T10:00:00Z"},
    {"America/Caracas", "2016-05-01T06:59:59Z", "2016-05-01", 14, "2016-05-01T04:30:00Z"},
    {"America/Caracas", "2016-05-01T07:00:00Z", "2016-05-01", 18, "2016-05-01T04:30:00Z"},
};

constexpr double since1970(int year, int month, int day) {
    const std::chrono::sys_days days = std::chrono::year(year) / month / day;
    return static_cast<double>(std::chrono::sys_seconds(days).time_since_epoch().count());
}

} // namespace

TEST(SegmentUtils, namesTheSlotAndTheStartOfItsDay) {
    for (const Moment& m : moments) {
        const QTimeZone zone{QByteArray(m.zone)};
        const Date instant = *ISO8601::parse(m.instant);
        const auto slot = SegmentUtils::segmentDateAndNumber(instant, zone);
        EXPECT_EQ(slot.date.toStdString(), m.date) << m.zone << ' ' << m.instant;
        EXPECT_EQ(slot.number, m.number) << m.zone << ' ' << m.instant;
        EXPECT_EQ(SegmentUtils::calendarDate(instant, zone), ISO8601::parse(m.startOfDay))
            << m.zone << ' ' << m.instant;
        // The last fraction of a second belongs to the second that it began in.
        EXPECT_EQ(SegmentUtils::segmentDateAndNumber(instant + 0.999, zone), slot)
            << m.zone << ' ' << m.instant;
    }
}

TEST(SegmentUtils, daysTileInEveryZone) {
    const char* zones[] = {"UTC",          "Asia/Ho_Chi_Minh",   "Asia/Kolkata",    "Australia/Lord_Howe",
                           "Pacific/Apia", "America/Sao_Paulo",  "America/Havana",  "Africa/Cairo",
                           "Asia/Beirut",  "America/St_Johns",   "Europe/Berlin",   "America/New_York",
                           "Asia/Tehran",  "Pacific/Kiritimati", "Atlantic/Azores", "America/Asuncion"};
    for (const char* name : zones) {
        const QTimeZone zone{QByteArray(name)};
        const auto dateOf = [&zone](Date date) {
            return SegmentUtils::segmentDateAndNumber(date, zone).date;
        };
        // Every day on which the zone changes with its neighbours, and a sample of the others.
        std::vector<double> days;
        for (double t = since1970(1970, 1, 3); t < since1970(2100, 12, 31); t += 29 * 86400) {
            days.push_back(t);
        }
        const QDateTime first = QDateTime::fromSecsSinceEpoch(0, Qt::UTC);
        for (const auto& change : zone.transitions(first, first.addYears(130))) {
            for (const int offset : {-1, 0, 1}) {
                days.push_back(
                    std::floor(Date::fromDateTime(change.atUtc).secondsSince1970() / 86400 + offset) * 86400);
            }
        }
        for (const double t : days) {
            const Date noon = Date::since1970(t + 43200);
            const auto start = SegmentUtils::calendarDate(noon, zone);
            const auto next = SegmentUtils::startOfDayAfter(noon, 1, zone);
            ASSERT_TRUE(start && next) << name << ' ' << t;
            ASSERT_EQ(dateOf(*start), dateOf(noon)) << name << ' ' << t;
            ASSERT_LT(dateOf(*start - 1), dateOf(noon)) << name << ' ' << t;
            ASSERT_GT(dateOf(*next), dateOf(noon)) << name << ' ' << t;
            ASSERT_EQ(dateOf(*next - 1), dateOf(noon)) << name << ' ' << t;
        }
    }
}

TEST(SegmentUtils, countsCalendarDaysAndPassesASkippedOne) {
    const QTimeZone apia("Pacific/Apia");
    const Date before = *ISO8601::parse("2011-12-29T20:00:00Z"); // 10:00 on the 29th, the day before the gap
    EXPECT_EQ(SegmentUtils::startOfDayAfter(before, 1, apia), ISO8601::parse("2011-12-30T10:00:00Z"));
    EXPECT_EQ(SegmentUtils::startOfDayAfter(before, 2, apia), ISO8601::parse("2011-12-30T10:00:00Z"));
    EXPECT_EQ(SegmentUtils::startOfDayAfter(before, -1, apia), ISO8601::parse("2011-12-28T10:00:00Z"));

    const QTimeZone berlin("Europe/Berlin");
    const Date short23 = *ISO8601::parse("2024-03-31T20:00:00+02:00");
    EXPECT_EQ(SegmentUtils::startOfDayAfter(short23, 1, berlin), ISO8601::parse("2024-04-01T00:00:00+02:00"));
    EXPECT_EQ(SegmentUtils::startOfDayAfter(short23, -30, berlin),
              ISO8601::parse("2024-03-01T00:00:00+01:00"));

    for (const double impossible : {std::numeric_limits<double>::infinity(), std::nan(""), 1e300, -1e300}) {
        EXPECT_FALSE(SegmentUtils::calendarDate(Date::since1970(impossible), berlin)) << impossible;
    }
}

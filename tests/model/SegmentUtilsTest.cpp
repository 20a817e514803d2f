#include "model/SegmentUtils.h"

#include "model/ISO8601.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

struct Moment {
    const char *zone, *instant, *date;
    int number;
    const char* startOfDay;
    double hours; ///< Of the whole day.
};

/// Worked out with another implementation of the same time zone data.
const Moment moments[] = {
    {"UTC", "2024-02-29T23:59:59Z", "2024-02-29", 143, "2024-02-29T00:00:00Z", 24},
    {"Asia/Ho_Chi_Minh", "2024-05-01T17:00:00Z", "2024-05-02", 0, "2024-05-01T17:00:00Z", 24},
    {"Asia/Kolkata", "2024-03-31T18:29:59Z", "2024-03-31", 143, "2024-03-30T18:30:00Z", 24},
    {"Europe/Berlin", "2024-03-31T01:00:00Z", "2024-03-31", 18, "2024-03-30T23:00:00Z", 23},
    {"Europe/Berlin", "2024-10-27T01:00:00Z", "2024-10-27", 12, "2024-10-26T22:00:00Z", 25},
    {"Australia/Lord_Howe", "2024-10-05T15:30:00Z", "2024-10-06", 15, "2024-10-05T13:30:00Z", 23.5},
    {"Australia/Lord_Howe", "2024-04-06T14:59:59Z", "2024-04-07", 11, "2024-04-06T13:00:00Z", 24.5},
    {"Australia/Lord_Howe", "2024-04-06T15:00:00Z", "2024-04-07", 9, "2024-04-06T13:00:00Z", 24.5},
    {"Pacific/Auckland", "2024-09-28T14:00:00Z", "2024-09-29", 18, "2024-09-28T12:00:00Z", 23},
    {"Pacific/Auckland", "2024-04-06T14:00:00Z", "2024-04-07", 12, "2024-04-06T11:00:00Z", 25},
    {"America/New_York", "2024-03-10T06:59:59Z", "2024-03-10", 11, "2024-03-10T05:00:00Z", 23},
    {"America/New_York", "2024-03-10T07:00:00Z", "2024-03-10", 18, "2024-03-10T05:00:00Z", 23},
    {"America/New_York", "2024-11-03T06:30:00Z", "2024-11-03", 9, "2024-11-03T04:00:00Z", 25},
    {"America/St_Johns", "2024-03-10T05:30:00Z", "2024-03-10", 18, "2024-03-10T03:30:00Z", 23},
    {"America/St_Johns", "2024-11-03T04:30:00Z", "2024-11-03", 6, "2024-11-03T02:30:00Z", 25},
    {"America/Sao_Paulo", "2018-02-18T02:00:00Z", "2018-02-17", 138, "2018-02-17T02:00:00Z", 25},
    {"America/Sao_Paulo", "2018-11-04T02:59:59Z", "2018-11-03", 143, "2018-11-03T03:00:00Z", 24},
    {"America/Sao_Paulo", "2018-11-04T03:00:00Z", "2018-11-04", 6, "2018-11-04T03:00:00Z", 23}, // no midnight
    {"Africa/Cairo", "2024-04-25T22:00:00Z", "2024-04-26", 6, "2024-04-25T22:00:00Z", 23},      // no midnight
    {"Africa/Cairo", "2024-10-31T21:00:00Z", "2024-10-31", 138, "2024-10-30T21:00:00Z", 25},
    {"America/Havana", "2024-11-03T05:00:00Z", "2024-11-03", 0, "2024-11-03T04:00:00Z", 25}, // midnight twice
    {"Pacific/Apia", "2011-12-30T09:59:59Z", "2011-12-29", 143, "2011-12-29T10:00:00Z", 24},
    {"Pacific/Apia", "2011-12-30T10:00:00Z", "2011-12-31", 0, "2011-12-30T10:00:00Z", 24},
};

/// Those of the simulated lives, and two that skipped a day or change at midnight.
const char* const zones[] = {"UTC",          "Europe/Berlin",     "America/New_York", "America/St_Johns",
                             "Asia/Kolkata", "Asia/Jakarta",      "Asia/Kathmandu",   "Australia/Lord_Howe",
                             "Africa/Cairo", "America/Sao_Paulo", "Pacific/Auckland", "Pacific/Honolulu",
                             "Pacific/Apia", "America/Havana"};

} // namespace

TEST(SegmentUtils, namesTheSlotAndTheBoundsOfItsDay) {
    for (const Moment& m : moments) {
        SCOPED_TRACE(testing::Message() << m.zone << ' ' << m.instant);
        const QTimeZone zone(m.zone);
        const Date instant = *ISO8601::parse(m.instant), start = *ISO8601::parse(m.startOfDay);
        const auto slot = SegmentUtils::segmentDateAndNumber(instant, zone);
        EXPECT_EQ(slot.date.toStdString(), m.date);
        EXPECT_EQ(slot.number, m.number);
        EXPECT_EQ(SegmentUtils::calendarDate(instant, zone), start);
        EXPECT_EQ(SegmentUtils::startOfDayAfter(instant, 1, zone), start + m.hours * 3600);
        // The last fraction of a second belongs to the second that it began in.
        EXPECT_EQ(SegmentUtils::segmentDateAndNumber(instant + 0.999, zone), slot);
    }
}

TEST(SegmentUtils, followsTheWallClockOverItsChangesAndLeapDays) {
    constexpr Seconds step = 300;       // divides a slot, and the clock changes of today fall on a multiple
    constexpr Seconds span = 50 * 3600; // before and after: the whole day, and those around it
    const auto midnight = [](int year, int month, int day) { return QDateTime({year, month, day}, {0, 0}, Qt::UTC); };
    for (const char* name : zones) {
        const QTimeZone zone(name);
        std::vector<QDateTime> centres{midnight(2024, 2, 29), midnight(2028, 2, 29), midnight(2100, 3, 1)};
        for (const auto& change : zone.transitions(midnight(2012, 1, 1), midnight(2032, 1, 1)))
            centres.push_back(change.atUtc);
        for (const QDateTime& centre : centres) {
            SCOPED_TRACE(testing::Message() << name << ' ' << centre.toString(Qt::ISODate).toStdString());
            const Date first = Date::fromDateTime(centre) - span;
            QDate day = first.toDateTime(zone).date();
            std::optional<Date> start; // of the day; absent in the first one
            for (Date instant = first; instant < first + 2 * span; instant = instant + step) {
                const QDateTime local = instant.toDateTime(zone);
                if (local.date() != std::exchange(day, local.date())) {
                    start = instant;
                    ASSERT_EQ(SegmentUtils::startOfDayAfter(instant - step, 1, zone), start);
                }
                const SegmentUtils::DateAndNumber slot{day.toString(Qt::ISODate),
                                                       local.time().hour() * 6 + local.time().minute() / 10};
                ASSERT_EQ(SegmentUtils::segmentDateAndNumber(instant, zone), slot);
                ASSERT_EQ(SegmentUtils::segmentDateAndNumber(instant + step - 0.001, zone), slot);
                ASSERT_TRUE(!start || SegmentUtils::calendarDate(instant, zone) == start);
            }
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

#include "SegmentUtils.h"

#include "ISO8601.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <map>

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

/// Those of the simulated lives, and two that skipped a day or change at midnight.
const char* const zones[] = {"UTC",          "Europe/Berlin",     "America/New_York", "America/St_Johns",
                             "Asia/Kolkata", "Asia/Jakarta",      "Asia/Kathmandu",   "Australia/Lord_Howe",
                             "Africa/Cairo", "America/Sao_Paulo", "Pacific/Auckland", "Pacific/Honolulu",
                             "Pacific/Apia", "America/Havana"};

/// The days on which the zone's clock changes, and those around them.
std::vector<QDate> daysOfChange(const QTimeZone& zone, int firstYear, int endYear) {
    std::vector<QDate> days;
    const auto newYear = [](int year) { return QDateTime({year, 1, 1}, {0, 0}, Qt::UTC); };
    for (const auto& change : zone.transitions(newYear(firstYear), newYear(endYear)))
        for (const int offset : {-1, 0, 1})
            days.push_back(change.atUtc.date().addDays(offset));
    return days;
}

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

/// What a day's instants are named, followed from its start to the next day's in steps of `step` seconds.
struct Day {
    Seconds length = 0;
    std::map<int, Seconds> slots; ///< How long each number is the slot's.
};

Day dayOf(QDate date, const QTimeZone& zone) {
    constexpr Seconds step = 300; // divides a slot, and the clock changes of today fall on a multiple
    const Date noon = Date::fromDateTime(QDateTime(date, QTime(12, 0), zone));
    const auto start = SegmentUtils::calendarDate(noon, zone);
    Day day{*SegmentUtils::startOfDayAfter(noon, 1, zone) - *start, {}};
    for (Seconds into = 0; into < day.length; into += step) {
        const auto slot = SegmentUtils::segmentDateAndNumber(*start + into, zone);
        EXPECT_EQ(slot.date, date.toString(Qt::ISODate));
        EXPECT_EQ(SegmentUtils::segmentDateAndNumber(*start + into + step - 0.001, zone), slot);
        EXPECT_EQ(SegmentUtils::calendarDate(*start + into, zone), start);
        day.slots[slot.number] += step;
    }
    return day;
}

TEST(SegmentUtils, slotsFillTheDayAndRepeatOrSkipWhatTheClockDoes) {
    for (const char* name : zones) {
        const QTimeZone zone(name);
        std::vector<QDate> days = daysOfChange(zone, 2012, 2032);
        days.insert(days.end(), {{2024, 2, 28}, {2024, 2, 29}, {2024, 3, 1}, {2028, 2, 29}, {2100, 2, 28}});
        for (const QDate date : days) {
            SCOPED_TRACE(testing::Message() << name << ' ' << date.toString(Qt::ISODate).toStdString());
            const Day day = dayOf(date, zone);
            Seconds whole = 0, skipped = 0, repeated = 0;
            for (int number = 0; number < SegmentUtils::segmentsPerDay; ++number) {
                const auto found = day.slots.find(number);
                const Seconds length = found == day.slots.end() ? 0 : found->second;
                (length == 0 ? skipped : length == 1200 ? repeated : whole) += 600;
                ASSERT_TRUE(length == 0 || length == 600 || length == 1200) << number << ' ' << length;
            }
            ASSERT_EQ(whole + 2 * repeated, day.length);
            ASSERT_TRUE(skipped == 0 || repeated == 0);
        }
    }
}

TEST(SegmentUtils, daysAreAsLongAsTheirClockChangesMakeThem) {
    struct Row {
        const char* zone;
        QDate date;
        double hours;
        int firstSlot,
            firstOdd; ///< The first slot of all, and the first that is skipped or comes twice; -1: none.
    };
    const Row rows[] = {
        {"UTC", {2024, 2, 29}, 24, 0, -1},
        {"Europe/Berlin", {2024, 3, 31}, 23, 0, 12},
        {"Europe/Berlin", {2024, 10, 27}, 25, 0, 12},
        {"America/New_York", {2024, 3, 10}, 23, 0, 12},
        {"America/New_York", {2024, 11, 3}, 25, 0, 6},
        {"America/St_Johns", {2024, 3, 10}, 23, 0, 12},
        {"America/St_Johns", {2024, 11, 3}, 25, 0, 6},
        {"Australia/Lord_Howe", {2024, 10, 6}, 23.5, 0, 12},
        {"Australia/Lord_Howe", {2024, 4, 7}, 24.5, 0, 9},
        {"Pacific/Auckland", {2024, 9, 29}, 23, 0, 12},
        {"Pacific/Auckland", {2024, 4, 7}, 25, 0, 12},
        {"Africa/Cairo", {2024, 4, 26}, 23, 6, 0}, // no midnight
        {"Africa/Cairo", {2024, 10, 31}, 25, 0, 138},
        {"America/Sao_Paulo", {2018, 11, 4}, 23, 6, 0}, // no midnight
        {"America/Sao_Paulo", {2018, 2, 17}, 25, 0, 138},
        {"America/Havana", {2024, 11, 3}, 25, 0, 0}, // midnight twice, and it is the first that counts
        {"Asia/Kolkata", {2024, 3, 31}, 24, 0, -1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.zone << ' ' << row.date.toString(Qt::ISODate).toStdString());
        const Day day = dayOf(row.date, QTimeZone(row.zone));
        EXPECT_EQ(day.length / 3600, row.hours);
        EXPECT_EQ(day.slots.begin()->first, row.firstSlot);
        int odd = 0;
        while (odd < SegmentUtils::segmentsPerDay && day.slots.contains(odd) && day.slots.at(odd) == 600)
            ++odd;
        EXPECT_EQ(odd == SegmentUtils::segmentsPerDay ? -1 : odd, row.firstOdd);
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

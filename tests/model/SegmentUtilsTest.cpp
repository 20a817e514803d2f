#include "SegmentUtils.h"

#include "ISO8601.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <map>

namespace {

/// Those of the simulated lives, and two that skipped a day or change at midnight.
const char* const zones[] = {"UTC",          "Europe/Berlin",     "America/New_York", "America/St_Johns",
                             "Asia/Kolkata", "Asia/Jakarta",      "Asia/Kathmandu",   "Australia/Lord_Howe",
                             "Africa/Cairo", "America/Sao_Paulo", "Pacific/Auckland", "Pacific/Honolulu",
                             "Pacific/Apia", "America/Havana"};

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
} // namespace

TEST(SegmentUtils, slotsFillTheDayAndRepeatOrSkipWhatTheClockDoes) {
    for (const char* name : zones) {
        const QTimeZone zone(name);
        std::vector<QDate> days{{2024, 2, 28}, {2024, 2, 29}, {2024, 3, 1}, {2100, 2, 28}};
        const auto newYear = [](int year) { return QDateTime({year, 1, 1}, {0, 0}, Qt::UTC); };
        for (const auto& change : zone.transitions(newYear(2012), newYear(2032)))
            for (const int offset : {-1, 0, 1})
                days.push_back(change.atUtc.date().addDays(offset));
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
        {"America/New_York", {2024, 3, 10}, 23, 0, 12},
        {"America/St_Johns", {2024, 11, 3}, 25, 0, 6},
        {"Australia/Lord_Howe", {2024, 10, 6}, 23.5, 0, 12},
        {"Australia/Lord_Howe", {2024, 4, 7}, 24.5, 0, 9},
        {"Africa/Cairo", {2024, 4, 26}, 23, 6, 0}, // no midnight
        {"Africa/Cairo", {2024, 10, 31}, 25, 0, 138},
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

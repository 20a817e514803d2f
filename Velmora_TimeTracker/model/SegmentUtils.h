#pragma once

#include "platform/Date.h"

#include <QString>
#include <QTimeZone>
#include <optional>

/// The arithmetic of the 10-minute slots of the calendar day, and the one way to name a calendar day. Any
/// thread: a QTimeZone carries its zone's transitions with it and may be read by several threads, so nothing
/// is cached here and no lock is needed. Callers keep the zone; making one from its identifier is the costly
/// step.
namespace SegmentUtils {

inline constexpr int secondsPerSegment = 600;
inline constexpr int segmentsPerDay = 144;

struct DateAndNumber {
    QString date;   ///< "yyyy-MM-dd"
    int number = 0; ///< (hour × 60 + minute) ÷ 10, 0 to 143

    friend bool operator==(const DateAndNumber&, const DateAndNumber&) = default;
};

/// The slot that holds the instant. Meaningless for an instant whose year has not four digits.
DateAndNumber segmentDateAndNumber(Date date, const QTimeZone& timeZone);

/// The midnight that starts the instant's day in the zone; where that midnight does not exist, the first
/// moment of the day; where it comes twice, the first. Absent when the zone gives no such date.
std::optional<Date> calendarDate(Date date, const QTimeZone& timeZone);

/// The start of the day `days` calendar days after the instant's day; where the zone skipped that day, of the
/// next one that it had. Absent when the zone gives no such date.
std::optional<Date> startOfDayAfter(Date date, int days, const QTimeZone& timeZone);

} // namespace SegmentUtils

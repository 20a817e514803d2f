#pragma once

#include "platform/Date.h"

#include <QString>
#include <QTimeZone>
#include <optional>

/// The arithmetic of calendar days and of their 10-minute segments. Any thread: a QTimeZone holds its transitions and
/// may be read by several threads, so there is no cache and no lock here. Callers keep the zone, because constructing
/// one is slow.
namespace SegmentUtils {

inline constexpr int secondsPerSegment = 600;
inline constexpr int segmentsPerDay = 144;

struct DateAndNumber {
    QString date;   ///< "yyyy-MM-dd"
    int number = 0; ///< (hour × 60 + minute) ÷ 10, 0 to 143

    friend bool operator==(const DateAndNumber&, const DateAndNumber&) = default;
};

/// The segment that contains the instant. Undefined if its year does not have four digits.
DateAndNumber segmentDateAndNumber(Date date, const QTimeZone& timeZone);

/// The start of the instant's day in the zone: its first midnight or, if the zone skips midnight, its first moment.
/// Absent if the date cannot be computed.
std::optional<Date> calendarDate(Date date, const QTimeZone& timeZone);

/// The start of the day `days` calendar days after the instant's day; if the zone skipped that day, of the next
/// existing day. Absent if the date cannot be computed.
std::optional<Date> startOfDayAfter(Date date, int days, const QTimeZone& timeZone);

} // namespace SegmentUtils

#include "model/SegmentUtils.h"

#include <cmath>

namespace SegmentUtils {

namespace {

/// The zone's local time and date. The date is invalid if its year does not have four digits.
struct WallClock {
    QDate day;
    int minuteOfDay = 0;
};

WallClock wallClock(Date date, const QTimeZone& timeZone) {
    constexpr qint64 secondsPerDay = 86400;
    constexpr qint64 julianDay1970 = 2440588;
    constexpr double year1 = -62135596800, year10000 = 253402300800;
    const double seconds = std::floor(date.secondsSince1970());
    // Excludes the first and the last representable day, which an offset could leave.
    if (!(seconds >= year1 + secondsPerDay && seconds < year10000 - secondsPerDay))
        return {};
    const QDateTime utc = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(seconds), Qt::UTC);
    // Counted from year 1, so that the values are not negative.
    const qint64 shown = static_cast<qint64>(seconds - year1) + timeZone.offsetFromUtc(utc);
    constexpr qint64 julianDayOfYear1 = julianDay1970 + static_cast<qint64>(year1) / secondsPerDay;
    return {QDate::fromJulianDay(julianDayOfYear1 + shown / secondsPerDay),
            static_cast<int>(shown % secondsPerDay / 60)};
}

void writeDigits(QChar* to, int value, int count) {
    for (; count > 0; value /= 10)
        to[--count] = QChar(u'0' + value % 10);
}

} // namespace

DateAndNumber segmentDateAndNumber(Date date, const QTimeZone& timeZone) {
    const WallClock local = wallClock(date, timeZone);
    int year = 0, month = 0, day = 0;
    local.day.getDate(&year, &month, &day);
    // Formatted by hand: the engine needs this several times a second.
    QString text(10, u'-');
    writeDigits(text.data(), year, 4);
    writeDigits(text.data() + 5, month, 2);
    writeDigits(text.data() + 8, day, 2);
    return {text, local.minuteOfDay / 10};
}

std::optional<Date> calendarDate(Date date, const QTimeZone& timeZone) {
    return startOfDayAfter(date, 0, timeZone);
}

std::optional<Date> startOfDayAfter(Date date, int days, const QTimeZone& timeZone) {
    const QDate day = wallClock(date, timeZone).day.addDays(days);
    if (!day.isValid() || !timeZone.isValid())
        return std::nullopt;
    // The earliest instant at which the wall clock shows midnight or later. No offset reaches a whole day, so the
    // search starts a day earlier. QDate::startOfDay would return the second of two midnights.
    const QDateTime midnight(day, QTime(0, 0), Qt::UTC);
    const QDateTime dayBefore = midnight.addDays(-1);
    QDateTime start = midnight.addSecs(-timeZone.offsetFromUtc(dayBefore));
    auto change = timeZone.nextTransition(dayBefore);
    while (change.atUtc.isValid() && change.atUtc <= start) {
        start = qMax(change.atUtc, midnight.addSecs(-change.offsetFromUtc));
        change = timeZone.nextTransition(change.atUtc);
    }
    return Date::fromDateTime(start);
}

} // namespace SegmentUtils

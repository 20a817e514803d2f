#include "SegmentUtils.h"

#include <cmath>
#include <cstdio>

namespace SegmentUtils {

namespace {

/// The zone's wall clock at the instant, as if it were UTC. Invalid for an instant that no calendar names.
QDateTime wallClock(Date date, const QTimeZone& timeZone) {
    constexpr double maxSeconds = 1e12; // some 30,000 years
    const double seconds = std::floor(date.secondsSince1970());
    if (!(std::abs(seconds) < maxSeconds)) {
        return {};
    }
    const QDateTime utc = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(seconds), Qt::UTC);
    return utc.addSecs(timeZone.offsetFromUtc(utc));
}

} // namespace

DateAndNumber segmentDateAndNumber(Date date, const QTimeZone& timeZone) {
    const QDateTime local = wallClock(date, timeZone);
    const QDate day = local.date();
    const QTime time = local.time();
    // The library's own printing: the engine names days several times a second, and QString's takes ten times
    // as long.
    char text[24];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", day.year(), day.month(), day.day());
    return {QString::fromLatin1(text), (time.hour() * 60 + time.minute()) / 10};
}

std::optional<Date> calendarDate(Date date, const QTimeZone& timeZone) {
    return startOfDayAfter(date, 0, timeZone);
}

std::optional<Date> startOfDayAfter(Date date, int days, const QTimeZone& timeZone) {
    const QDate day = wallClock(date, timeZone).date().addDays(days);
    if (!day.isValid() || !timeZone.isValid()) {
        return std::nullopt;
    }
    // The earliest instant at which the wall clock shows midnight or later. No zone is a whole day from UTC,
    // so the day before is a safe place to start from; QDate::startOfDay takes the second of two midnights.
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

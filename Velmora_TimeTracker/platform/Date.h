#pragma once

#include <QDateTime>
#include <QTimeZone>
#include <compare>

/// A time span in seconds.
using Seconds = double;

/// An instant: seconds since 2001-01-01T00:00:00Z. The epoch is that of the stored payloads, so that a date is read
/// and written bit for bit; the database, the marks of life and the formatters use 1970.
struct Date {
    double secondsSince2001 = 0;

    static constexpr double secondsFrom1970To2001 = 978307200;

    static constexpr Date since2001(double seconds) { return Date{seconds}; }
    static constexpr Date since1970(double seconds) { return Date{seconds - secondsFrom1970To2001}; }
    constexpr double secondsSince1970() const { return secondsSince2001 + secondsFrom1970To2001; }

    /// Rounded down to whole milliseconds, the resolution of QDateTime.
    QDateTime toDateTime(const QTimeZone& zone) const;
    static Date fromDateTime(const QDateTime& dateTime);

    friend constexpr auto operator<=>(const Date&, const Date&) = default;
    friend constexpr Date operator+(Date date, Seconds span) { return Date{date.secondsSince2001 + span}; }
    friend constexpr Date operator-(Date date, Seconds span) { return Date{date.secondsSince2001 - span}; }
    friend constexpr Seconds operator-(Date later, Date earlier) {
        return later.secondsSince2001 - earlier.secondsSince2001;
    }
};

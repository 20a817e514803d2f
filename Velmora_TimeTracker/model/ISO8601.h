#pragma once

#include "platform/Date.h"

#include <QString>
#include <QTimeZone>
#include <optional>

/// Internet date-times without a fraction. Writing rounds down to a second; the text is empty for an instant outside
/// the years 1 to 9999.
namespace ISO8601 {

/// "2024-05-01T09:30:00+07:00", always with a numeric offset: the form of the wire.
QString wireText(Date date, const QTimeZone& timeZone);

/// The same with "Z" for an offset of zero: the form of file names and of the stall log.
QString text(Date date, const QTimeZone& timeZone);

/// Reads "2024-05-01T09:30:00" followed by "Z" or a numeric offset "+07:00" or "+0700". Strict: anything else is
/// absent, including a nonexistent day, hour 24 and second 60.
std::optional<Date> parse(const QString& text);
/// The same, requiring a fraction of a second.
std::optional<Date> parseWithFraction(const QString& text);

} // namespace ISO8601

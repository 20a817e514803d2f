#pragma once

#include "platform/Date.h"

#include <QString>

/// Formats times and digits for the screens.
namespace Formatting {

/// "HH:MM:SS", truncated; hours may exceed 24.
QString duration(Seconds seconds);
/// "HH:MM", truncated.
QString hoursMinutes(Seconds seconds);
/// "5 minutes ago", "in 2 hours": the largest unit that fits, truncated.
QString relative(Date then, Date now);
/// The decimal digits of a text, of any script, as ASCII digits.
QString asciiDigits(const QString& text);
/// Keeps the first two digits of a text, and limits their value.
int digits(const QString& text, int maximum);

} // namespace Formatting

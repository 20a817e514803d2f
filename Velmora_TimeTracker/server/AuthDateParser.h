#pragma once

#include "platform/Date.h"

#include <QString>

namespace AuthDateParser {
/// Reads a server time: an internet date-time, or "yyyy-MM-dd HH:mm:ss" in UTC; any other text gives `now` plus
/// `defaultFromNow` seconds.
Date parse(const QString& text, Seconds defaultFromNow, Date now);
} // namespace AuthDateParser

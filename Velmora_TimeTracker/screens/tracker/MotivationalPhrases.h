#pragma once

#include "platform/Date.h"

#include <QString>
#include <array>
#include <optional>

/// The phrases on the tracker.
namespace MotivationalPhrases {

/// While tracking; "{time}" stands for the time worked today.
extern const std::array<const char*, 30> all;
/// While nothing runs.
extern const std::array<const char*, 50> idle;

/// "5 minutes", "1 hour"; absent below a minute. Hours are rounded to the nearest.
std::optional<QString> formatTime(Seconds seconds);
/// The phrase at `index`, counted around the list in both directions.
QString active(int index, Seconds todayTotalSeconds);

} // namespace MotivationalPhrases

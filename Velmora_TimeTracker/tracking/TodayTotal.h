#pragma once

#include "model/ServerTodayTotal.h"
#include "platform/Date.h"

#include <optional>

/// How the server's figure and the local one become the figure shown. Pure.
namespace TodayTotal {

/// The server's figure plus what happened locally since it arrived, never less than the local sum.
Seconds shown(Seconds local, const std::optional<ServerTodayTotal>& server, Seconds localTotalAtServerAnchor,
              const QString& today);

enum class Verdict { accept, malformed, outdated, stale };
/// Whether an incoming figure may replace the present one.
Verdict judge(const ServerTodayTotal& incoming, const std::optional<ServerTodayTotal>& current, const QString& today);

} // namespace TodayTotal

#pragma once

#include "model/Session.h"

#include <QTimeZone>
#include <vector>

/// Rules about a session's intervals and days that need no engine. Pure.
namespace SessionArithmetic {

/// A session closed by the day boundary ends this long before the next day begins.
inline constexpr Seconds midnightEpsilonSeconds = 0.001;

/// The frozen total when present, else the sum of the intervals.
Seconds sessionTotal(const Session& session, Date asOf);

/// Freezes a finished session: `completed`, its total as of `asOf` truncated and at least 0.
void finish(Session& session, Date asOf);

/// The end of a session's last interval; `otherwise` when that is open or there is none.
Date lastStop(const Session& session, Date otherwise);

/// True when `now` lies on a later day than the start of the first interval.
bool isSessionCrossDay(const Session& session, Date now, const QTimeZone& zone);

/// A session cut at each midnight that lies in it, in order, never empty. The first day keeps the id, the counts and the
/// state; the last day holds the open interval, which reaches to `asOf`, and the idle cutoff.
std::vector<Session> byDays(const Session& session, Date asOf, const QTimeZone& zone);

/// The end of an interval that a crash left open: the last-alive mark, not after `now`, not before its start.
Date settledEnd(Date startedAt, const std::optional<Date>& lastAlive, Date now);

} // namespace SessionArithmetic

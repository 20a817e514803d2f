#pragma once

#include "model/Session.h"

#include <QByteArray>
#include <QTimeZone>

enum class HeartbeatStatus { active, completed };

/// The heartbeat's JSON body, with all dates in `apiTimeZone`. `now` replaces missing dates of the session. Absent if
/// a number is not finite or a date cannot be formatted. Pure; any thread.
std::optional<QByteArray> buildHeartbeatPayload(const Session& session, HeartbeatStatus status, Date now,
                                                const QTimeZone& apiTimeZone);

#pragma once

#include "model/Session.h"

#include <QByteArray>
#include <QTimeZone>

enum class HeartbeatStatus { active, completed };

/// The heartbeat's JSON body, with all dates in `apiTimeZone`. `now` stands in for what the session does not
/// tell. Absent when a number is not finite or a date lies outside the calendar. Pure; any thread.
std::optional<QByteArray> buildHeartbeatPayload(const Session& session, HeartbeatStatus status, Date now,
                                                const QTimeZone& apiTimeZone);

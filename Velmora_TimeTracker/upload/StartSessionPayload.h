#pragma once

#include "model/Session.h"

#include <QByteArray>
#include <QTimeZone>
#include <optional>

namespace StartSessionPayload {
/// The body of the session-start call, made at enqueue time so that a retry sends the same bytes. Absent for a session
/// without intervals or with a start that cannot be formatted. Pure; any thread.
std::optional<QByteArray> build(const Session& session, const QTimeZone& apiTimeZone);
} // namespace StartSessionPayload

#pragma once

#include "platform/Date.h"

#include <QUuid>
#include <optional>

class PreferenceStore;

/// The mark of life of a session: when it was last known to run. Kept per session id in the preferences, as seconds
/// since 1970. Any thread.
namespace TrackingHeartbeat {
void record(const QUuid& sessionId, Date at, PreferenceStore& preferences);
/// Absent without a mark above 0.
std::optional<Date> load(const QUuid& sessionId, const PreferenceStore& preferences);
void clear(const QUuid& sessionId, PreferenceStore& preferences);
} // namespace TrackingHeartbeat

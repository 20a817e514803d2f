#pragma once

#include "platform/Date.h"

#include <QUuid>
#include <optional>

class PreferenceStore;

/// The last-alive mark of a session: the last moment at which this program proved to be running it. Kept per
/// session id in the preferences, as seconds since 1970. Any thread.
namespace TrackingHeartbeat {
void record(const QUuid& sessionId, Date at, PreferenceStore& preferences);
/// Absent without a mark above 0.
std::optional<Date> load(const QUuid& sessionId, const PreferenceStore& preferences);
void clear(const QUuid& sessionId, PreferenceStore& preferences);
} // namespace TrackingHeartbeat

#include "storage/TrackingHeartbeat.h"

#include "model/Session.h"
#include "platform/PreferenceStore.h"

namespace {
QString key(const QUuid& sessionId) {
    return "com.velmora.timetracker.heartbeat." + uuidText(sessionId);
}
} // namespace

void TrackingHeartbeat::record(const QUuid& sessionId, Date at, PreferenceStore& preferences) {
    preferences.set(key(sessionId), at.secondsSince1970());
}

std::optional<Date> TrackingHeartbeat::load(const QUuid& sessionId, const PreferenceStore& preferences) {
    const double seconds = preferences.number(key(sessionId)).value_or(0);
    return seconds > 0 ? std::optional(Date::since1970(seconds)) : std::nullopt;
}

void TrackingHeartbeat::clear(const QUuid& sessionId, PreferenceStore& preferences) {
    preferences.remove(key(sessionId));
}

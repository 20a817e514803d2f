#include "upload/HeartbeatPayload.h"

#include "model/ISO8601.h"
#include "model/Json.h"

#include <cmath>

namespace {

/// Formats dates in one zone and records whether one could not be formatted.
class DateWriter {
public:
    explicit DateWriter(const QTimeZone& zone)
        : zone_(zone) {}

    QJsonValue operator()(Date date) {
        const QString text = ISO8601::wireText(date, zone_);
        failed_ |= text.isEmpty();
        return text;
    }
    QJsonValue operator()(const std::optional<Date>& date) { return date ? (*this)(*date) : QJsonValue::Null; }
    bool failed() const { return failed_; }

private:
    const QTimeZone& zone_;
    bool failed_ = false;
};

/// `lastEnd` closes an open last interval; absent, it stays open.
QJsonArray intervals(const Session& session, const std::optional<Date>& lastEnd, DateWriter& write) {
    QJsonArray array;
    for (const TrackingInterval& interval : session.intervals) {
        const bool isLast = &interval == &session.intervals.back();
        const std::optional<Date> stoppedAt = isLast && !interval.stoppedAt ? lastEnd : interval.stoppedAt;
        array.append(QJsonObject{{"interval_uuid", uuidText(interval.id)},
                                 {"started_at", write(interval.startedAt)},
                                 {"stopped_at", write(stoppedAt)}});
    }
    return array;
}

} // namespace

std::optional<QByteArray> buildHeartbeatPayload(const Session& session, HeartbeatStatus status, Date now,
                                                const QTimeZone& apiTimeZone) {
    constexpr double tooManySeconds = 1e15; // beyond any calendar date, well within 64 bits
    const bool isCompleted = status == HeartbeatStatus::completed;
    const bool hasIntervals = !session.intervals.empty();
    const Date effectiveEnd = isCompleted && hasIntervals ? session.intervals.back().stoppedAt.value_or(now) : now;
    const std::optional<Date> stoppedAt = isCompleted ? std::optional(effectiveEnd) : std::nullopt;
    const Seconds total = session.totalSecondsForReporting(effectiveEnd);
    if (!(std::abs(total) < tooManySeconds) || !std::isfinite(session.activityScore))
        return std::nullopt;

    DateWriter write(apiTimeZone);
    const QJsonObject body{{"device_uuid", session.deviceId},
                           {"session_uuid", uuidText(session.id)},
                           {"task_id", session.projectId},
                           {"started_at", write(hasIntervals ? session.intervals.front().startedAt : now)},
                           {"stopped_at", write(stoppedAt)},
                           {"total_seconds", static_cast<qint64>(total)},
                           {"mouse_movements", session.mouseCount},
                           {"key_press_count", session.keyboardCount},
                           {"activity_rate", session.activityScore},
                           {"status", isCompleted ? "completed" : "active"},
                           {"intervals", intervals(session, stoppedAt, write)}};
    return write.failed() ? std::nullopt : std::optional(Json::compact(body));
}

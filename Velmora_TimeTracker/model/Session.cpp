#include "model/Session.h"

#include "model/EnumNames.h"
#include "model/Json.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr std::pair<SessionStatus, const char*> statusNames[] = {
    {SessionStatus::active, "active"},
    {SessionStatus::paused, "paused"},
    {SessionStatus::completed, "completed"},
};

std::optional<SessionStatus> sessionStatus(const QString& rawName) {
    return caseOf(statusNames, rawName);
}

bool isFinite(const std::optional<Date>& date) {
    return !date || std::isfinite(date->secondsSince2001);
}

bool isEncodable(const Session& session) {
    return std::isfinite(session.activityScore) && isFinite(session.idleDiscardCutoffAt) &&
           std::ranges::all_of(session.intervals, [](const TrackingInterval& interval) {
               return isFinite(interval.startedAt) && isFinite(interval.stoppedAt);
           });
}

QJsonObject toJson(const TrackingInterval& interval) {
    QJsonObject json{{"id", uuidText(interval.id)}, {"startedAt", interval.startedAt.secondsSince2001}};
    if (interval.stoppedAt)
        json.insert("stoppedAt", interval.stoppedAt->secondsSince2001);
    return json;
}

std::optional<TrackingInterval> intervalFromJson(const QJsonObject& json) {
    const auto id = Json::uuid(json, "id");
    const auto startedAt = Json::date(json, "startedAt");
    const auto stoppedAt = Json::date(json, "stoppedAt");
    if (!id || !startedAt || Json::isMistyped(json, "stoppedAt", stoppedAt))
        return std::nullopt;
    return TrackingInterval{*id, *startedAt, stoppedAt};
}

std::optional<std::vector<TrackingInterval>> intervalsFromJson(const QJsonArray& json) {
    std::vector<TrackingInterval> intervals;
    intervals.reserve(static_cast<std::size_t>(json.size()));
    for (const QJsonValue& value : json) {
        auto interval = intervalFromJson(value.toObject());
        if (!interval)
            return std::nullopt;
        intervals.push_back(*interval);
    }
    return intervals;
}

} // namespace

Seconds Session::totalSeconds(Date asOf) const {
    Seconds total = 0;
    for (const TrackingInterval& interval : intervals)
        total += std::max(0.0, interval.stoppedAt.value_or(asOf) - interval.startedAt);
    return total;
}

Seconds Session::totalSecondsForReporting(Date asOf) const {
    return reportedTotalSeconds ? static_cast<Seconds>(*reportedTotalSeconds) : totalSeconds(asOf);
}

QString uuidText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> parseUuid(const QString& text) {
    const QUuid id = QUuid::fromString(text);
    const bool isCanonical = id.toString(QUuid::WithoutBraces).compare(text, Qt::CaseInsensitive) == 0;
    return isCanonical ? std::optional(id) : std::nullopt;
}

std::optional<QByteArray> encodeSession(const Session& session) {
    if (!isEncodable(session))
        return std::nullopt;
    QJsonArray intervals;
    for (const TrackingInterval& interval : session.intervals)
        intervals.append(toJson(interval));
    QJsonObject json{
        {"id", uuidText(session.id)},
        {"deviceId", session.deviceId},
        {"projectId", session.projectId},
        {"projectName", session.projectName},
        {"intervals", intervals},
        {"mouseCount", session.mouseCount},
        {"keyboardCount", session.keyboardCount},
        {"activityScore", session.activityScore},
        {"status", nameOf(statusNames, session.status)},
    };
    if (session.idleDiscardCutoffAt)
        json.insert("idleDiscardCutoffAt", session.idleDiscardCutoffAt->secondsSince2001);
    if (session.reportedTotalSeconds)
        json.insert("reportedTotalSeconds", *session.reportedTotalSeconds);
    return Json::compact(json);
}

std::optional<Session> decodeSession(const QByteArray& payload) {
    const QJsonObject json = Json::object(payload).value_or(QJsonObject());
    const auto id = Json::uuid(json, "id");
    const auto deviceId = Json::string(json, "deviceId");
    const auto projectId = Json::string(json, "projectId");
    const auto projectName = Json::string(json, "projectName");
    const auto intervals = Json::then(Json::array(json, "intervals"), intervalsFromJson);
    const auto mouseCount = Json::integer(json, "mouseCount");
    const auto keyboardCount = Json::integer(json, "keyboardCount");
    const auto activityScore = Json::number(json, "activityScore");
    const auto status = Json::then(Json::string(json, "status"), sessionStatus);
    const auto idleDiscardCutoffAt = Json::date(json, "idleDiscardCutoffAt");
    const auto reportedTotalSeconds = Json::integer(json, "reportedTotalSeconds");
    const bool isComplete = id && deviceId && projectId && projectName && intervals && mouseCount && keyboardCount &&
                            activityScore && status;
    if (!isComplete || Json::isMistyped(json, "idleDiscardCutoffAt", idleDiscardCutoffAt) ||
        Json::isMistyped(json, "reportedTotalSeconds", reportedTotalSeconds))
        return std::nullopt;
    return Session{*id,        *deviceId,           *projectId,          *projectName,
                   *intervals, *mouseCount,         *keyboardCount,      *activityScore,
                   *status,    idleDiscardCutoffAt, reportedTotalSeconds};
}

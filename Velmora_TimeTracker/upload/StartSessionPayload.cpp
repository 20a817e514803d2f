#include "upload/StartSessionPayload.h"

#include "model/ISO8601.h"
#include "model/Json.h"

std::optional<QByteArray> StartSessionPayload::build(const Session& session, const QTimeZone& apiTimeZone) {
    if (session.intervals.empty())
        return std::nullopt;
    const QString startedAt = ISO8601::wireText(session.intervals.front().startedAt, apiTimeZone);
    if (startedAt.isEmpty())
        return std::nullopt;
    return Json::compact({{"device_uuid", session.deviceId},
                          {"session_uuid", uuidText(session.id)},
                          {"started_at", startedAt},
                          {"task_id", session.projectId}});
}

#include "backend/Checks.h"
#include "backend/EmployerPage.h"
#include "backend/Endpoint.h"

#include <QJsonArray>

namespace backend {

namespace {

QJsonValue orNull(const std::optional<qint64>& value) {
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonObject sessionJson(const Session& session) {
    QJsonArray intervals;
    for (const Interval& interval : session.intervals)
        intervals.append(QJsonObject{{u"interval_uuid"_qs, interval.uuid},
                                     {u"started_at"_qs, interval.startedAt},
                                     {u"stopped_at"_qs, orNull(interval.stoppedAt)}});
    return {{u"session_uuid"_qs, session.uuid},
            {u"user"_qs, session.user},
            {u"company"_qs, session.company},
            {u"device_uuid"_qs, session.deviceUuid},
            {u"holder_uuid"_qs, session.holderUuid},
            {u"task_id"_qs, session.taskId},
            {u"started_at"_qs, session.startedAt},
            {u"stopped_at"_qs, orNull(session.stoppedAt)},
            {u"status"_qs, session.status},
            {u"total_seconds"_qs, session.totalSeconds},
            {u"mouse_movements"_qs, session.mouseMovements},
            {u"key_press_count"_qs, session.keyPressCount},
            {u"activity_rate"_qs, session.activityRate},
            {u"started"_qs, session.started},
            {u"heartbeats"_qs, session.heartbeats},
            {u"reported_at"_qs, session.reportedAt},
            {u"intervals"_qs, intervals}};
}

QJsonArray segmentsJson(const std::vector<SegmentRow>& rows) {
    QJsonArray segments;
    for (const SegmentRow& row : rows)
        segments.append(QJsonObject{{u"user"_qs, row.user},
                                    {u"company"_qs, row.company},
                                    {u"segment_date"_qs, row.date},
                                    {u"segment_number"_qs, row.number},
                                    {u"activity_rate"_qs, row.activityRate},
                                    {u"non_idle_percent"_qs, row.nonIdlePercent},
                                    {u"mouse_movements"_qs, row.mouseMovements},
                                    {u"key_press_count"_qs, row.keyPressCount}});
    return segments;
}

QJsonArray screenshotsJson(const std::vector<Screenshot>& screenshots) {
    QJsonArray files;
    for (const Screenshot& screenshot : screenshots)
        files.append(QJsonObject{{u"session_uuid"_qs, screenshot.sessionUuid},
                                 {u"file_name"_qs, screenshot.fileName},
                                 {u"captured_at"_qs, screenshot.capturedAt},
                                 {u"width"_qs, screenshot.size.width()},
                                 {u"height"_qs, screenshot.size.height()},
                                 {u"bytes"_qs, screenshot.bytes}});
    return files;
}

Reply summary(State& state, const Call&) {
    qint64 starts = 0, heartbeats = 0, completed = 0;
    QJsonArray sessions;
    for (const Session& session : state.sessions.all()) {
        starts += session.started;
        heartbeats += session.heartbeats;
        completed += session.status == u"completed";
        sessions.append(sessionJson(session));
    }
    const QJsonArray segments = segmentsJson(state.segments.all());
    const QJsonArray files = screenshotsJson(state.screenshots.all());
    return QJsonObject{{u"session_starts"_qs, starts},    {u"heartbeats"_qs, heartbeats},
                       {u"completed"_qs, completed},      {u"screenshots"_qs, files.size()},
                       {u"segments"_qs, segments.size()}, {u"sessions"_qs, sessions},
                       {u"segment_rows"_qs, segments},    {u"screenshot_files"_qs, files}};
}

Reply otp(State& state, const Call& call) {
    const Account* account = state.accounts.find(call.parameter("email"));
    const QString code = account ? state.codes.current(account->email) : QString();
    if (code.isEmpty())
        throw Refusal{404, QStringLiteral("No code waits for this address.")};
    return QJsonObject{{u"code"_qs, code}};
}

const QJsonObject done{{u"success"_qs, true}};

Reply addFault(State& state, const Call& call) {
    state.faults.add(objectFrom(call.request.body));
    return done;
}

Reply resetFaults(State& state, const Call&) {
    state.faults.reset();
    return done;
}

Reply takeover(State& state, const Call& call) {
    const QJsonObject body = objectFrom(call.request.body);
    demand(body, {{u"session_uuid"_qs, uuid()}});
    if (!state.sessions.takeOver(body.value(u"session_uuid").toString()))
        throw Refusal{404, QStringLiteral("There is no such session.")};
    return done;
}

Reply expireTokens(State& state, const Call& call) {
    const QJsonObject body = call.request.body.empty() ? QJsonObject() : objectFrom(call.request.body);
    state.tokens.expireAll(body.value(u"refresh").toBool());
    return done;
}

Reply changeConfiguration(State& state, const Call& call) {
    const QJsonObject changes = objectFrom(call.request.body);
    const QString company = changes.value(u"company").toString();
    if (!company.isEmpty() && !state.accounts.hasCompany(company))
        throw Refusal{404, QStringLiteral("There is no such company.")};
    state.accounts.merge(changes);
    return done;
}

Reply media(State& state, const Call& call) {
    const auto picture = state.screenshots.read(call.part(1), call.part(2));
    if (!picture)
        throw Refusal{404, QStringLiteral("There is no such picture.")};
    Reply reply(*picture, "image/jpeg");
    reply.headers.emplace("Cache-Control", "private, max-age=86400");
    return reply;
}

} // namespace

std::vector<Endpoint> controlEndpoints() {
    using enum Endpoint::Method;
    return {{get, "/", employerPage},
            {get, "/media/([^/]+)/([^/]+)", media},
            {get, "/control/summary", summary},
            {get, "/control/otp", otp},
            {post, "/control/faults", addFault},
            {post, "/control/reset-faults", resetFaults},
            {post, "/control/takeover", takeover},
            {post, "/control/expire-tokens", expireTokens},
            {post, "/control/config", changeConfiguration}};
}

} // namespace backend

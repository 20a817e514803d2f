#include "backend/Checks.h"
#include "backend/EmployerPage.h"
#include "backend/Endpoint.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace backend {

namespace {

QJsonValue orNull(const std::optional<qint64>& value) {
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonObject sessionJson(const Session& session) {
    QJsonArray intervals;
    for (const Interval& interval : session.intervals)
        intervals.append(QJsonObject{{u"interval_uuid"_s, interval.uuid},
                                     {u"started_at"_s, interval.startedAt},
                                     {u"stopped_at"_s, orNull(interval.stoppedAt)}});
    return {{u"session_uuid"_s, session.uuid},
            {u"user"_s, session.user},
            {u"company"_s, session.company},
            {u"device_uuid"_s, session.deviceUuid},
            {u"holder_uuid"_s, session.holderUuid},
            {u"task_id"_s, session.taskId},
            {u"started_at"_s, session.startedAt},
            {u"stopped_at"_s, orNull(session.stoppedAt)},
            {u"status"_s, session.status},
            {u"total_seconds"_s, session.totalSeconds},
            {u"mouse_movements"_s, session.mouseMovements},
            {u"key_press_count"_s, session.keyPressCount},
            {u"activity_rate"_s, session.activityRate},
            {u"started"_s, session.started},
            {u"heartbeats"_s, session.heartbeats},
            {u"reported_at"_s, session.reportedAt},
            {u"intervals"_s, intervals}};
}

QJsonArray segmentsJson(const std::vector<SegmentRow>& rows) {
    QJsonArray segments;
    for (const SegmentRow& row : rows)
        segments.append(QJsonObject{{u"user"_s, row.user},
                                    {u"company"_s, row.company},
                                    {u"segment_date"_s, row.date},
                                    {u"segment_number"_s, row.number},
                                    {u"activity_rate"_s, row.activityRate},
                                    {u"non_idle_percent"_s, row.nonIdlePercent},
                                    {u"mouse_movements"_s, row.mouseMovements},
                                    {u"key_press_count"_s, row.keyPressCount}});
    return segments;
}

QJsonArray screenshotsJson(const std::vector<Screenshot>& screenshots) {
    QJsonArray files;
    for (const Screenshot& screenshot : screenshots)
        files.append(QJsonObject{{u"session_uuid"_s, screenshot.sessionUuid},
                                 {u"file_name"_s, screenshot.fileName},
                                 {u"captured_at"_s, screenshot.capturedAt},
                                 {u"width"_s, screenshot.size.width()},
                                 {u"height"_s, screenshot.size.height()},
                                 {u"bytes"_s, screenshot.bytes}});
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
    return QJsonObject{{u"session_starts"_s, starts},    {u"heartbeats"_s, heartbeats},    {u"completed"_s, completed},
                       {u"screenshots"_s, files.size()}, {u"segments"_s, segments.size()}, {u"sessions"_s, sessions},
                       {u"segment_rows"_s, segments},    {u"screenshot_files"_s, files}};
}

Reply otp(State& state, const Call& call) {
    const Account* account = state.accounts.find(call.parameter("email"));
    const QString code = account ? state.codes.current(account->email) : QString();
    if (code.isEmpty())
        throw Refusal{404, u"No code waits for this address."_s};
    return QJsonObject{{u"code"_s, code}};
}

const QJsonObject done{{u"success"_s, true}};

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
    demand(body, {{u"session_uuid"_s, uuid()}});
    if (!state.sessions.takeOver(body.value(u"session_uuid").toString()))
        throw Refusal{404, u"There is no such session."_s};
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
        throw Refusal{404, u"There is no such company."_s};
    state.accounts.merge(changes);
    return done;
}

Reply media(State& state, const Call& call) {
    const auto picture = state.screenshots.read(call.part(1), call.part(2));
    if (!picture)
        throw Refusal{404, u"There is no such picture."_s};
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

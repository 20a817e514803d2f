#include "backend/Checks.h"
#include "backend/Endpoint.h"
#include "backend/Report.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace backend {

namespace {

/// The headers of the client's upload requests, which differ from those of its JSON client.
void demandUploadHeaders(const Call& call, const QString& contentType) {
    const QRegularExpression form("\\A"_L1 + contentType + "\\z"_L1);
    if (!form.match(call.header("Content-Type")).hasMatch())
        throw Refusal{400,
                      u"The Content-Type \"%1\" is not the one of this request."_s.arg(call.header("Content-Type"))};
    if (call.header("Accept") != u"application/json")
        throw Refusal{400, u"The header Accept must be \"application/json\"."_s};
    if (call.header("app-client") != u"ios")
        throw Refusal{400, u"The header app-client must be \"ios\"."_s};
    if (call.request.has_header("X-App"))
        throw Refusal{400, u"This request must not carry the header X-App."_s};
}

QJsonObject uploadBody(const Call& call) {
    demandUploadHeaders(call, u"application/json"_s);
    return objectFrom(call.request.body);
}

/// The common reply to reports, with today's total and whatever else the endpoint tells.
Reply withTodayTotal(State& state, const Caller& caller, QJsonObject data = {}) {
    const TodayTotal today =
        state.sessions.today(caller.account.email, caller.company.key, state.second(), caller.company.zone());
    data.insert(u"ok"_s, true);
    data.insert(u"today_total_seconds"_s, today.seconds);
    data.insert(u"today_date"_s, today.date);
    return QJsonObject{{u"success"_s, true}, {u"data"_s, data}};
}

/// The same account at the same company is always told the same device.
QString deviceIdOf(const Caller& caller) {
    const QUuid space(u"{6ba7b810-9dad-11d1-80b4-00c04fd430c8}"_s);
    const QString seed = caller.company.key + QLatin1Char('/') + caller.account.email;
    return QUuid::createUuidV5(space, seed).toString(QUuid::WithoutBraces).toUpper();
}

Reply configuration(State& state, const Call& call) {
    demandJsonClientHeaders(call);
    const Caller caller = callerOf(state, call);
    const TodayTotal today =
        state.sessions.today(caller.account.email, caller.company.key, state.second(), caller.company.zone());
    QJsonObject data = caller.company.config;
    data.insert(u"device_id"_s, deviceIdOf(caller));
    data.insert(u"name"_s, caller.account.name);
    data.insert(u"company_name"_s, caller.company.name);
    data.insert(u"today_total_seconds"_s, today.seconds);
    data.insert(u"today_date"_s, today.date);
    return QJsonObject{{u"data"_s, data}};
}

Reply screenshotReport(State& state, const Call& call) {
    demandJsonClientHeaders(call);
    const Caller caller = callerOf(state, call);
    const auto date = dayFrom(call.parameter("date"));
    if (!date)
        throw Refusal{422, u"date must be a day as yyyy-MM-dd."_s};
    const Day day = dayOf(state, caller.account.email, caller.company, *date);
    return QJsonObject{{u"data"_s, reportOf(day, call.origin)}};
}

Reply startSession(State& state, const Call& call) {
    const Caller caller = callerOf(state, call);
    const QJsonObject body = uploadBody(call);
    demand(body, {{u"device_uuid"_s, uuid()},
                  {u"session_uuid"_s, uuid()},
                  {u"started_at"_s, dateTime()},
                  {u"task_id"_s, text()}});
    state.sessions.start(caller.account.email, caller.company.key, body, state.second(),
                         state.accounts.oneDevicePerAccount);
    return withTodayTotal(state, caller);
}

void demandHeartbeat(const QJsonObject& body) {
    const bool completed = body.value(u"status").toString() == u"completed";
    demand(body,
           {{u"device_uuid"_s, uuid()},
            {u"session_uuid"_s, uuid()},
            {u"task_id"_s, text()},
            {u"status"_s, oneOf({u"active", u"completed"})},
            {u"started_at"_s, dateTime()},
            {u"stopped_at"_s, completed ? dateTime() : absent()},
            {u"total_seconds"_s, count()},
            {u"mouse_movements"_s, count()},
            {u"key_press_count"_s, count()},
            {u"activity_rate"_s, number(0, 100)},
            {u"intervals"_s, [](const QJsonValue& value) { return value.isArray() ? QString() : u"an array"_s; }}});
    const QJsonArray intervals = body.value(u"intervals").toArray();
    for (int index = 0; index < intervals.size(); ++index) {
        const bool closed = completed && index + 1 == intervals.size();
        demand(intervals.at(index).toObject(),
               {{u"interval_uuid"_s, uuid()},
                {u"started_at"_s, dateTime()},
                {u"stopped_at"_s, closed ? dateTime() : nullOr(dateTime())}},
               u"intervals[%1]: "_s.arg(index));
    }
}

Reply heartbeat(State& state, const Call& call) {
    const Caller caller = callerOf(state, call);
    const QJsonObject body = uploadBody(call);
    demandHeartbeat(body);
    state.sessions.report(caller.account.email, body, state.second());
    return withTodayTotal(state, caller);
}

Reply segmentBatch(State& state, const Call& call) {
    const Caller caller = callerOf(state, call);
    const QJsonObject body = uploadBody(call);
    demand(body, {{u"device_uuid"_s, uuid()}, {u"segments"_s, [](const QJsonValue& value) {
                                                   return value.toArray().isEmpty() ? u"an array, not empty"_s
                                                                                    : QString();
                                               }}});
    const QJsonObject outcome =
        state.segments.accept(caller.account.email, caller.company.key, body.value(u"device_uuid").toString(),
                              body.value(u"segments").toArray(), state.second());
    return withTodayTotal(state, caller, outcome);
}

Reply uploadScreenshot(State& state, const Call& call) {
    const Caller caller = callerOf(state, call);
    demandUploadHeaders(call, u"multipart/form-data; boundary=Boundary-[0-9A-F-]{36}"_s);
    const QString session = call.part(2);
    if (!isUuid(session))
        throw Refusal{422, u"The session in the path must be a UUID in upper case."_s};
    state.sessions.demandOwned(caller.account.email, session);
    const auto& parts = call.request.files;
    if (parts.size() != 1 || parts.begin()->first != "screenshots[]")
        throw Refusal{422, u"The body must hold one part, named screenshots[]."_s};
    const httplib::MultipartFormData& part = parts.begin()->second;
    if (part.content_type != "image/jpeg")
        throw Refusal{422, u"The part's Content-Type must be image/jpeg."_s};
    state.screenshots.store(caller.account.email, session, QString::fromStdString(part.filename), part.content,
                            state.second());
    return QJsonObject{{u"success"_s, true}};
}

} // namespace

std::vector<Endpoint> trackingEndpoints() {
    const std::string employees = apiRoot + "hr/timetracker/employees/";
    return {{Endpoint::Method::get, employees + "config", configuration},
            {Endpoint::Method::get, apiRoot + "hr/timetracker/reporting/screenshots/employees", screenshotReport},
            {Endpoint::Method::post, employees + "sessions/start", startSession},
            {Endpoint::Method::post, employees + "sessions/heartbeat", heartbeat},
            {Endpoint::Method::post, employees + "segments/batch", segmentBatch},
            {Endpoint::Method::post, employees + "sessions/([^/]+)/screenshots", uploadScreenshot}};
}

} // namespace backend

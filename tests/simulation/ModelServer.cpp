#include "ModelServer.h"

#include "Json.h"
#include "Session.h"

#include <QJsonArray>
#include <QRegularExpression>

using Reply = SimulatedURLSession::Reply;

namespace {
Reply data(const QJsonObject& record) {
    return SimulatedURLSession::answer(200, Json::compact({{"success", true}, {"data", record}}));
}
} // namespace

ModelServer::ModelServer(Timeline& timeline, quint32 seed)
    : timeline_(timeline)
    , random_(seed) {}

Reply ModelServer::handle(const URLRequest& request) {
    if (!isUnreachable && !isFailing && chance() >= faultRate)
        return commit(request);
    ++faultsMet;
    if (isUnreachable)
        return SimulatedURLSession::failure(URLError::Code::notConnectedToInternet);
    if (isFailing)
        return SimulatedURLSession::answer(503, R"({"message":"down for a while"})");
    switch (std::uniform_int_distribution<>(0, 8)(random_)) {
    case 0:
        return SimulatedURLSession::answer(chance() < 0.5 ? 500 : 503);
    case 1:
        return SimulatedURLSession::answer(429);
    case 2:
        return SimulatedURLSession::failure(URLError::Code::cannotConnectToHost);
    case 3: // the server committed, the answer was lost
        commit(request);
        return SimulatedURLSession::failure(URLError::Code::networkConnectionLost);
    case 4:
        if (chance() < 0.5)
            commit(request);
        return SimulatedURLSession::silence();
    case 5: {
        Reply late = commit(request);
        late.delay = 1 + chance() * 100;
        return late;
    }
    case 6: { // the answer is rubbish, whether or not anything was done
        if (chance() < 0.5)
            commit(request);
        // A picture's answer has no form that half an object could miss.
        const bool isPage = request.url.path().endsWith("/screenshots") || chance() < 0.5;
        return SimulatedURLSession::answer(200, isPage ? "<html>busy</html>" : R"({"data":[17)");
    }
    case 7:
        return refuse(request);
    default:
        expireTokens();
        return commit(request);
    }
}

/// For good.
Reply ModelServer::refuse(const URLRequest& request) {
    const QString path = request.url.path();
    if (!path.contains("timetracker"))
        return commit(request);
    const auto body = Json::object(request.body);
    const QUuid session(body ? body->value("session_uuid").toString() : path.section(u'/', -2, -2));
    const std::pair<const char*, const char*> types[] = {{"/screenshots", "screenshot"},
                                                         {"/start", "startSession"},
                                                         {"/heartbeat", "heartbeat"},
                                                         {"/batch", "activitySegment"}};
    for (const auto& [end, type] : types)
        if (path.endsWith(end))
            refused[type].append(session);
    const int statuses[] = {400, 413, 422};
    return SimulatedURLSession::answer(statuses[std::uniform_int_distribution<>(0, 2)(random_)]);
}

Reply ModelServer::commit(const URLRequest& request) {
    const QString path = request.url.path();
    const auto body = Json::object(request.body);
    if (path.endsWith("authentication/refresh")) {
        if (rejectsRefresh)
            return SimulatedURLSession::answer(401, R"({"message":"signed out"})");
        return data({{"access_token", QString::fromLatin1(accessToken())},
                     {"refresh_token", "refresh"},
                     {"expires_at", "2099-01-01T00:00:00Z"}});
    }
    if (request.header("Authorization") != "Bearer " + accessToken())
        return SimulatedURLSession::answer(401, R"({"message":"token expired"})");
    if (path.endsWith("employees/config"))
        return data(Json::object(encodeRemoteConfig(config)).value());
    if (path.endsWith("/screenshots")) {
        if (!hasBegun(QUuid(path.section(u'/', -2, -2))))
            return SimulatedURLSession::answer(404);
        static const QRegularExpression name("filename=\"([^\"]+)\"");
        screenshots.insert(name.match(QString::fromLatin1(request.body.left(400))).captured(1));
        return SimulatedURLSession::answer(200, "{}");
    }
    if (!body)
        return SimulatedURLSession::answer(422, R"({"message":"no JSON object"})");
    if (path.endsWith("sessions/start")) {
        sessions[QUuid(body->value("session_uuid").toString())].startBodies.insert(request.body);
        return todayTotal();
    }
    if (path.endsWith("sessions/heartbeat"))
        return heartbeat(*body, request.body);
    if (path.endsWith("segments/batch"))
        return batch(*body);
    return SimulatedURLSession::answer(404);
}

Reply ModelServer::heartbeat(const QJsonObject& body, const QByteArray& raw) {
    const QUuid id = QUuid(body.value("session_uuid").toString());
    SessionRecord& session = sessions[id];
    if (session.takenOver) {
        ++takeoverAnswers;
        return SimulatedURLSession::answer(409, R"({"message":"resumed elsewhere"})");
    }
    if (!hasBegun(id)) {
        if (refused["startSession"].contains(id))
            refused["heartbeat"].append(id);
        else
            ++unknownSessions;
        return SimulatedURLSession::answer(404, R"({"message":"no such session"})");
    }
    session.reportedSeconds = body.value("total_seconds").toInteger();
    session.startedAt = QDateTime::fromString(body.value("started_at").toString(), Qt::ISODate);
    if (body.value("status") == "completed") {
        session.completedBodies.insert(raw);
        session.completedSeconds = session.reportedSeconds;
    }
    return todayTotal();
}

Reply ModelServer::batch(const QJsonObject& body) {
    QJsonArray accepted;
    const QJsonArray rows = body.value("segments").toArray();
    for (int index = 0; index < rows.size(); ++index) {
        if (chance() < faultRate * 0.2)
            continue; // left out of the answer: must be offered again
        const QJsonObject row = rows[index].toObject();
        segments[QString("%1#%2")
                     .arg(row.value("segment_date").toString())
                     .arg(row.value("segment_number").toInt())] = row.value("non_idle_percent").toDouble();
        accepted.append(index);
    }
    return data({{"accepted", accepted}, {"rejected", QJsonArray()}});
}

Reply ModelServer::todayTotal() {
    const QTimeZone zone(config.appTimezone.value_or("UTC").toLatin1());
    // A replica of the server may be a day behind.
    const int daysBehind = chance() < faultRate ? 1 : 0;
    const QDate today = timeline_.date().toDateTime(zone).date().addDays(-daysBehind);
    qint64 total = daysBehind * 80000;
    for (const SessionRecord& session : sessions)
        total += session.startedAt.toTimeZone(zone).date() == today ? session.reportedSeconds : 0;
    return data({{"ok", true}, {"today_total_seconds", total}, {"today_date", today.toString(Qt::ISODate)}});
}

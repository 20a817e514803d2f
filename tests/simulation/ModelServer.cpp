#include "ModelServer.h"

#include "model/Json.h"
#include "model/Session.h"

#include <QJsonArray>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

using Reply = SimulatedURLSession::Reply;

namespace {
Reply data(const QJsonObject& record) {
    return SimulatedURLSession::answer(200, Json::compact({{"success", true}, {"data", record}}));
}

/// The account that a request claims to be of, by its bearer token or by the refresh token that it brings.
std::optional<int> accountOf(const URLRequest& request) {
    const QByteArray bearer = request.header("Authorization");
    if (!bearer.isEmpty())
        return bearer.split('-').value(1).toInt();
    const auto body = Json::object(request.body);
    const QString refresh = body ? body->value("refresh_token").toString() : QString();
    return refresh.isEmpty() ? std::nullopt : std::optional(refresh.section(u'-', 1).toInt());
}

ModelServer::Row rowOf(const URLRequest& request) {
    const QString path = request.url.path();
    const auto body = Json::object(request.body);
    const QUuid session(body ? body->value("session_uuid").toString() : path.section(u'/', -2, -2));
    if (path.endsWith("/heartbeat"))
        return {body && body->value("status") == "completed" ? "heartbeat" : "direct", session};
    if (path.endsWith("/start"))
        return {"startSession", session};
    if (path.endsWith("/batch"))
        return {"activitySegment", {}};
    return {path.endsWith("/screenshots") ? "screenshot" : "", session};
}
} // namespace

ModelServer::ModelServer(Timeline& timeline, quint32 seed)
    : timeline_(timeline)
    , random_(seed) {}

QByteArray ModelServer::accessToken(int account) const {
    return "access-" + QByteArray::number(account) + '-' + QByteArray::number(tokenGeneration_);
}

Reply ModelServer::handle(const URLRequest& request) {
    const Row row = rowOf(request);
    inspect(request, row);
    const Reply reply = answer(request, row);
    note(reply, request, row);
    return reply;
}

/// Of what is sent, whether or not it arrives.
void ModelServer::inspect(const URLRequest& request, const Row& row) {
    const auto account = accountOf(request);
    if (account && !request.url.toString().startsWith(accounts[*account].url()))
        complaints.append("a token of another company was sent");
    if (!account && !row.type.isEmpty())
        complaints.append("a " + row.type + " was sent without a token");
    if (account && hasBegun(row.session) && sessions[row.session].account != *account)
        complaints.append("a " + row.type + " was sent for another account");
    if (row.type == "heartbeat" && timeline_.date() < notBefore_.value(row.session, timeline_.date()))
        complaints.append(u"the end of %1 was sent %2 s earlier than the server asked for"_s.arg(row.session.toString())
                              .arg(notBefore_.value(row.session) - timeline_.date()));
    if (row.type == "startSession" || row.type == "direct")
        lastReport[row.session] = timeline_.uptime();
}

Reply ModelServer::answer(const URLRequest& request, const Row& row) {
    if (isUnreachable || isFailing || chance() < faultRate)
        ++faultsMet;
    else
        return row.type == "heartbeat" && stumblesOver.contains(row.session) ? stumble(row) : commit(request);
    if (isUnreachable)
        return SimulatedURLSession::failure(URLError::Code::notConnectedToInternet);
    if (isFailing)
        return SimulatedURLSession::answer(503, R"({"message":"down for a while"})");
    switch (std::uniform_int_distribution<>(0, 9)(random_)) {
    case 0:
        return SimulatedURLSession::answer(chance() < 0.5 ? 500 : 503);
    case 1:
        return row.type == "heartbeat" ? stumble(row) : SimulatedURLSession::answer(429);
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
        const bool isPage = row.type == "screenshot" || chance() < 0.5;
        return SimulatedURLSession::answer(200, isPage ? "<html>busy</html>" : R"({"data":[17)");
    }
    case 7:
        return refuse(request, row);
    case 8: { // somebody between here and there answers
        const int statuses[] = {302, 407, 511};
        return SimulatedURLSession::answer(statuses[std::uniform_int_distribution<>(0, 2)(random_)]);
    }
    default:
        expireTokens();
        return commit(request);
    }
}

/// A refused token counts when it is the refreshed one.
void ModelServer::note(const Reply& reply, const URLRequest& request, const Row& row) {
    const auto* response = std::get_if<URLResponse>(&reply.result);
    const int status = response ? response->statusCode.value_or(0) : 0;
    const bool isRepeated = unauthorized_.remove(request.body);
    if (status == 401)
        unauthorized_.insert(request.body);
    if (status >= 400 && status != 407 && status != 511 && (status != 401 || isRepeated))
        ++verdicts[row.type][row.session];
}

/// Too much to do, or an error that only this session meets.
Reply ModelServer::stumble(const Row& row) {
    if (chance() < 0.5)
        return SimulatedURLSession::answer(500);
    constexpr Seconds wait = 120;
    notBefore_[row.session] = timeline_.date() + wait;
    return {URLResponse{chance() < 0.5 ? 429 : 503, {{"Retry-After", QByteArray::number(wait)}}, {}}};
}

/// For good.
Reply ModelServer::refuse(const URLRequest& request, const Row& row) {
    if (row.type.isEmpty())
        return commit(request);
    refused[row.type].append(row.session);
    const int statuses[] = {400, 413, 422};
    return SimulatedURLSession::answer(statuses[std::uniform_int_distribution<>(0, 2)(random_)]);
}

Reply ModelServer::commit(const URLRequest& request) {
    const QString path = request.url.path();
    const auto body = Json::object(request.body);
    const int account = accountOf(request).value_or(0);
    if (path.endsWith("authentication/refresh")) {
        if (rejectsRefresh)
            return SimulatedURLSession::answer(401, R"({"message":"signed out"})");
        return data({{"access_token", QString::fromLatin1(accessToken(account))},
                     {"refresh_token", QString::fromLatin1(refreshToken(account))},
                     {"expires_at", "2099-01-01T00:00:00Z"}});
    }
    if (request.header("Authorization") != "Bearer " + accessToken(account))
        return SimulatedURLSession::answer(401, R"({"message":"token expired"})");
    if (path.endsWith("employees/config")) {
        RemoteConfig own = config;
        own.companyName = accounts[account].key();
        return data(Json::object(encodeRemoteConfig(own)).value());
    }
    if (path.endsWith("/screenshots"))
        return screenshot(request);
    if (!body)
        return SimulatedURLSession::answer(422, R"({"message":"no JSON object"})");
    if (path.endsWith("sessions/start")) {
        SessionRecord& session = sessions[QUuid(body->value("session_uuid").toString())];
        session.startBodies.insert(request.body);
        session.account = account;
        return todayTotal(account);
    }
    if (path.endsWith("sessions/heartbeat"))
        return heartbeat(*body, request.body);
    if (path.endsWith("segments/batch"))
        return batch(*body, account);
    return SimulatedURLSession::answer(404);
}

Reply ModelServer::screenshot(const URLRequest& request) {
    if (!hasBegun(QUuid(request.url.path().section(u'/', -2, -2))))
        return SimulatedURLSession::answer(404);
    if (!request.body.contains(QByteArray::fromHex("ffd9")))
        complaints.append("half a picture was sent");
    static const QRegularExpression name("filename=\"([^\"]+)\"");
    screenshots.insert(name.match(QString::fromLatin1(request.body.left(400))).captured(1));
    return SimulatedURLSession::answer(200, "{}");
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
            complaints.append("a heartbeat came before its session's start");
        return SimulatedURLSession::answer(404, R"({"message":"no such session"})");
    }
    session.reportedSeconds = body.value("total_seconds").toInteger();
    session.startedAt = QDateTime::fromString(body.value("started_at").toString(), Qt::ISODate);
    if (body.value("status") == "completed") {
        session.completedBodies.insert(raw);
        session.completedSeconds = session.reportedSeconds;
    }
    return todayTotal(session.account);
}

Reply ModelServer::batch(const QJsonObject& body, int account) {
    QJsonArray accepted;
    const QJsonArray rows = body.value("segments").toArray();
    for (int index = 0; index < rows.size(); ++index) {
        if (chance() < faultRate * 0.2)
            continue; // left out of the answer: must be offered again
        const QJsonObject row = rows[index].toObject();
        const QString slot = u"%1 %2#%3"_s.arg(accounts[account].key(), row.value("segment_date").toString())
                                 .arg(row.value("segment_number").toInt());
        segments[slot] = {row.value("non_idle_percent").toDouble(), row.value("timezone").toString()};
        accepted.append(index);
    }
    return data({{"accepted", accepted}, {"rejected", QJsonArray()}});
}

Reply ModelServer::todayTotal(int account) {
    const QTimeZone zone(config.appTimezone.value_or("UTC").toLatin1());
    // A replica of the server may be a day behind.
    const int daysBehind = chance() < faultRate ? 1 : 0;
    const QDate today = timeline_.date().toDateTime(zone).date().addDays(-daysBehind);
    qint64 total = daysBehind * 80000;
    for (const SessionRecord& session : sessions)
        if (session.account == account && session.startedAt.toTimeZone(zone).date() == today)
            total += session.reportedSeconds;
    return data({{"ok", true}, {"today_total_seconds", total}, {"today_date", today.toString(Qt::ISODate)}});
}

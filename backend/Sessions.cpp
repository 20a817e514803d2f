#include "backend/Sessions.h"

#include "backend/Checks.h"
#include "backend/Refusal.h"

#include <QJsonArray>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace backend {

namespace {

#define SESSION_COLUMNS                                                                                                \
    "session_uuid, user, company, device_uuid, holder_uuid, task_id, started_at, stopped_at, status, "                 \
    "total_seconds, mouse_movements, key_press_count, activity_rate, started, heartbeats, reported_at"

std::optional<qint64> optionalSeconds(const QJsonValue& value) {
    return value.isNull() ? std::nullopt : std::optional(secondsFrom(value));
}

Session readRow(const Statement& row) {
    return {.uuid = row.text(0),
            .user = row.text(1),
            .company = row.text(2),
            .deviceUuid = row.text(3),
            .holderUuid = row.text(4),
            .taskId = row.text(5),
            .startedAt = row.integer(6),
            .stoppedAt = row.optionalInteger(7),
            .status = row.text(8),
            .totalSeconds = row.integer(9),
            .mouseMovements = row.integer(10),
            .keyPressCount = row.integer(11),
            .activityRate = row.real(12),
            .started = row.integer(13) != 0,
            .heartbeats = row.integer(14),
            .reportedAt = row.integer(15),
            .intervals = {}};
}

} // namespace

std::vector<Interval> closedIntervals(const Session& session) {
    qint64 closedSeconds = 0;
    std::vector<Interval> closed = session.intervals;
    for (Interval& interval : closed) {
        if (!interval.stoppedAt) {
            const qint64 rest = std::max<qint64>(0, session.totalSeconds - closedSeconds);
            interval.stoppedAt = interval.startedAt + rest;
        }
        closedSeconds += std::max<qint64>(0, *interval.stoppedAt - interval.startedAt);
    }
    return closed;
}

void Sessions::start(const QString& user, const QString& company, const QJsonObject& body, qint64 now,
                     bool displaceOtherDevices) {
    Transaction transaction(database);
    const QString device = body.value(u"device_uuid").toString();
    if (!demandHeld(user, body)) {
        insert(user, company, body);
        if (displaceOtherDevices) {
            Statement(database,
                      "UPDATE sessions SET holder_uuid = ? WHERE user = ? AND status = 'active' "
                      "AND holder_uuid <> ? AND started_at < ?",
                      device, user, device, secondsFrom(body.value(u"started_at")))
                .run();
        }
    }
    Statement(database, "UPDATE sessions SET started = 1, reported_at = ? WHERE session_uuid = ?", now,
              body.value(u"session_uuid").toString())
        .run();
    transaction.commit();
}

void Sessions::report(const QString& user, const QJsonObject& body, qint64 now) {
    Transaction transaction(database);
    const QString uuid = body.value(u"session_uuid").toString();
    const QString status = body.value(u"status").toString();
    if (!demandHeld(user, body))
        throw Refusal{404, u"There is no such session: its start has not come."_s};
    Statement(database, "UPDATE sessions SET heartbeats = heartbeats + 1, reported_at = ? WHERE session_uuid = ?", now,
              uuid)
        .run();
    Statement(database,
              "UPDATE sessions SET task_id = ?, started_at = ?, stopped_at = ?, status = ?, total_seconds = ?, "
              "mouse_movements = ?, key_press_count = ?, activity_rate = ? "
              "WHERE session_uuid = ? AND (status = 'active' OR ? = 'completed')",
              body.value(u"task_id").toString(), secondsFrom(body.value(u"started_at")),
              optionalSeconds(body.value(u"stopped_at")), status, body.value(u"total_seconds").toInteger(),
              body.value(u"mouse_movements").toInteger(), body.value(u"key_press_count").toInteger(),
              body.value(u"activity_rate").toDouble(), uuid, status)
        .run();
    if (database.changes() > 0)
        replaceIntervals(uuid, body.value(u"intervals").toArray());
    transaction.commit();
}

void Sessions::demandOwned(const QString& user, const QString& sessionUuid) const {
    Statement row(database, "SELECT 1 FROM sessions WHERE session_uuid = ? AND user = ?", sessionUuid, user);
    if (!row.next())
        throw Refusal{404, u"There is no such session."_s};
}

bool Sessions::takeOver(const QString& sessionUuid) {
    Statement(database, "UPDATE sessions SET holder_uuid = ? WHERE session_uuid = ?",
              QUuid::createUuid().toString(QUuid::WithoutBraces), sessionUuid)
        .run();
    return database.changes() > 0;
}

TodayTotal Sessions::today(const QString& user, const QString& company, qint64 now, const QTimeZone& zone) const {
    const QDate date = QDateTime::fromSecsSinceEpoch(now, zone).date();
    Statement row(database,
                  "SELECT COALESCE(SUM(total_seconds), 0) FROM sessions WHERE user = ? AND company = ? "
                  "AND started_at >= ? AND started_at < ?",
                  user, company, date.startOfDay(zone).toSecsSinceEpoch(),
                  date.addDays(1).startOfDay(zone).toSecsSinceEpoch());
    row.next();
    return {date.toString(Qt::ISODate), row.integer(0)};
}

std::vector<Session> Sessions::all() const {
    Statement rows(database, "SELECT " SESSION_COLUMNS " FROM sessions ORDER BY started_at, session_uuid");
    return readAll(rows);
}

std::vector<Session> Sessions::of(const QString& user, const QString& company, qint64 from, qint64 to) const {
    Statement rows(database,
                   "SELECT " SESSION_COLUMNS " FROM sessions WHERE user = ? AND company = ? AND started_at < ? "
                   "AND COALESCE(stopped_at, (SELECT MAX(COALESCE(i.stopped_at, "
                   "i.started_at + total_seconds)) FROM intervals i "
                   "WHERE i.session_uuid = sessions.session_uuid), sessions.started_at) >= ? "
                   "ORDER BY started_at, session_uuid",
                   user, company, to, from);
    return readAll(rows);
}

/// Whether the session exists; refuses when it is not the caller's to write.
bool Sessions::demandHeld(const QString& user, const QJsonObject& body) const {
    Statement row(database, "SELECT user, holder_uuid FROM sessions WHERE session_uuid = ?",
                  body.value(u"session_uuid").toString());
    if (!row.next())
        return false;
    if (row.text(0) != user)
        throw Refusal{404, u"There is no such session."_s};
    if (row.text(1) != body.value(u"device_uuid").toString())
        throw Refusal{409, u"Another device has taken this session over."_s};
    return true;
}

void Sessions::insert(const QString& user, const QString& company, const QJsonObject& body) {
    const QString device = body.value(u"device_uuid").toString();
    Statement(database,
              "INSERT INTO sessions (session_uuid, user, company, device_uuid, holder_uuid, task_id, started_at) "
              "VALUES (?, ?, ?, ?, ?, ?, ?)",
              body.value(u"session_uuid").toString(), user, company, device, device, body.value(u"task_id").toString(),
              secondsFrom(body.value(u"started_at")))
        .run();
}

void Sessions::replaceIntervals(const QString& sessionUuid, const QJsonArray& intervals) {
    Statement(database, "DELETE FROM intervals WHERE session_uuid = ?", sessionUuid).run();
    int position = 0;
    for (const QJsonValue& interval : intervals) {
        Statement(database,
                  "INSERT INTO intervals (session_uuid, position, interval_uuid, started_at, stopped_at) "
                  "VALUES (?, ?, ?, ?, ?)",
                  sessionUuid, position++, interval[u"interval_uuid"].toString(), secondsFrom(interval[u"started_at"]),
                  optionalSeconds(interval[u"stopped_at"]))
            .run();
    }
}

std::vector<Session> Sessions::readAll(Statement& rows) const {
    std::vector<Session> found;
    while (rows.next())
        found.push_back(readRow(rows));
    for (Session& session : found) {
        Statement row(database,
                      "SELECT interval_uuid, started_at, stopped_at FROM intervals WHERE session_uuid = ? "
                      "ORDER BY position",
                      session.uuid);
        while (row.next())
            session.intervals.push_back({row.text(0), row.integer(1), row.optionalInteger(2)});
    }
    return found;
}

} // namespace backend

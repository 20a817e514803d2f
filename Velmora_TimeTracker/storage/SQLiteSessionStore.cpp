// The store's operations on running and finished sessions.

#include "platform/Clock.h"
#include "platform/Log.h"
#include "storage/DomainStorage.h"
#include "storage/SQLiteStore.h"
#include "storage/Statement.h"
#include "storage/StoreStatements.h"

#include <sqlite3.h>

namespace {

std::optional<QByteArray> encoded(const Session& session, const char* operation) {
    const auto payload = encodeSession(session);
    if (!payload)
        qCCritical(Log::session, "%s: encode failed: a number in the session is not finite", operation);
    return payload;
}

Date startOf(const Session& session, Date now) {
    return session.intervals.empty() ? now : session.intervals.front().startedAt;
}

Date endOf(const Session& session, Date now) {
    return session.intervals.empty() ? now : session.intervals.back().stoppedAt.value_or(now);
}

/// The sessions in the statement's rows; undecodable ones are skipped.
std::vector<Session> sessions(Statement& statement) {
    std::vector<Session> found;
    while (statement.step()) {
        const auto payload = statement.blob(0);
        if (auto session = payload ? decodeSession(*payload) : std::nullopt)
            found.push_back(std::move(*session));
    }
    return found;
}

Statement& bindSession(Statement& statement, const Session& session, const QString& domain, const QByteArray& payload) {
    return statement.bindText(uuidText(session.id))
        .bindText(domain)
        .bindText(session.deviceId)
        .bindText(session.projectId)
        .bindText(session.projectName)
        .bindBlob(payload);
}

} // namespace

bool SQLiteStore::saveActiveSession(const Session& session, const std::optional<QString>& domainKey) {
    const auto payload = encoded(session, "saveActiveSession");
    if (!payload)
        return true; // a repetition would not help
    const QString domain = domainKey ? *domainKey : domain_.domainKey();
    const double now = clock_.now().secondsSince1970();
    return withStatement(Sql::saveActiveSession, [&](Statement& statement) {
        bindSession(statement, session, domain, *payload).bindReal(now).run();
    });
}

std::vector<Session> SQLiteStore::loadAllActiveSessions() {
    const QString domain = domain_.domainKey();
    std::vector<Session> found;
    withStatement(Sql::loadAllActiveSessions,
                  [&](Statement& statement) { found = sessions(statement.bindText(domain)); });
    return found;
}

std::optional<Session> SQLiteStore::loadActiveSession() {
    const std::vector<Session> all = loadAllActiveSessions();
    return all.empty() ? std::nullopt : std::optional(all.front());
}

bool SQLiteStore::clearActiveSession(const std::optional<QUuid>& id, const std::optional<QString>& domainKey) {
    const QString domain = domainKey ? *domainKey : domain_.domainKey();
    return withStatement(id ? Sql::clearActiveSession : Sql::clearActiveSessions, [&](Statement& statement) {
        statement.bindText(domain);
        if (id)
            statement.bindText(uuidText(*id));
        statement.run();
    });
}

bool SQLiteStore::appendSessionHistory(const Session& session, const std::optional<QString>& domainKey) {
    const auto payload = encoded(session, "appendSessionHistory");
    if (!payload)
        return true; // a repetition would not help
    const QString domain = domainKey ? *domainKey : domain_.domainKey();
    const Date now = clock_.now();
    return withStatement(Sql::appendSessionHistory, [&](Statement& statement) {
        bindSession(statement, session, domain, *payload)
            .bindReal(startOf(session, now).secondsSince1970())
            .bindReal(endOf(session, now).secondsSince1970())
            .run();
    });
}

std::vector<SQLiteStore::SessionSummaryRow> SQLiteStore::sessionHistory(Date from, Date to) {
    const QString domain = domain_.domainKey();
    std::vector<SessionSummaryRow> rows;
    withStatement(Sql::sessionHistory, [&](Statement& statement) {
        statement.bindText(domain).bindReal(from.secondsSince1970()).bindReal(to.secondsSince1970());
        for (const Session& session : sessions(statement)) {
            const Date now = clock_.now();
            rows.push_back({session.projectName, session.totalSecondsForReporting(endOf(session, now)),
                            session.activityScore, startOf(session, now), session.id});
        }
        if (statement.failure() != SQLITE_OK)
            rows.clear();
    });
    return rows;
}

#pragma once

#include "backend/Database.h"

#include <QJsonObject>
#include <QTimeZone>
#include <vector>

namespace backend {

struct Interval {
    QString uuid;
    qint64 startedAt;
    std::optional<qint64> stoppedAt;
};

/// A session as its last report told it. Times are unix seconds.
struct Session {
    QString uuid;
    QString user;
    QString company;
    QString deviceUuid; ///< the device that began it
    QString holderUuid; ///< the device that may report it; another one after a takeover
    QString taskId;
    qint64 startedAt;
    std::optional<qint64> stoppedAt;
    QString status;
    qint64 totalSeconds;
    qint64 mouseMovements;
    qint64 keyPressCount;
    double activityRate;
    bool started;      ///< a session start has arrived for it
    qint64 heartbeats; ///< accepted reports
    qint64 reportedAt; ///< when the last start or report came in
    std::vector<Interval> intervals;
};

struct TodayTotal {
    QString date;
    qint64 seconds;
};

/// The seconds of all closed intervals and, for an open last one, what the session's total leaves for it: the
/// open interval's end is told without asking any clock.
std::vector<Interval> closedIntervals(const Session& session);

/// Sessions and their reports. Reports carry totals, so each replaces the one before; bodies must have passed
/// their checks.
class Sessions {
public:
    explicit Sessions(Database& keptIn)
        : database(keptIn) {}

    /// Idempotent by session. 404 for a session of somebody else, 409 for one that another device took over.
    void start(const QString& user, const QString& company, const QJsonObject& body, qint64 now,
               bool displaceOtherDevices);
    /// The same refusals, and 404 before the session's start has come. A report "active" that comes after the final one changes nothing.
    void report(const QString& user, const QJsonObject& body, qint64 now);
    /// Refusal 404 unless the session is known and the user's own.
    void demandOwned(const QString& user, const QString& sessionUuid) const;
    /// Hands the session to a device nobody knows; false when there is no such session.
    bool takeOver(const QString& sessionUuid);

    /// Latest totals of the sessions that began on today's date in the zone.
    TodayTotal today(const QString& user, const QString& company, qint64 now, const QTimeZone& zone) const;

    std::vector<Session> all() const;
    /// Sessions with a part in [from, to), oldest first.
    std::vector<Session> of(const QString& user, const QString& company, qint64 from, qint64 to) const;

private:
    bool demandHeld(const QString& user, const QJsonObject& body) const;
    void insert(const QString& user, const QString& company, const QJsonObject& body);
    void replaceIntervals(const QString& sessionUuid, const QJsonArray& intervals);
    std::vector<Session> readAll(Statement& rows) const;

    Database& database;
};

} // namespace backend

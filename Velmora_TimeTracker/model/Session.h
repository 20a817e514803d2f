#pragma once

#include "platform/Date.h"

#include <QByteArray>
#include <QString>
#include <QUuid>
#include <optional>
#include <vector>

/// One span of work inside a session; open while `stoppedAt` is absent.
struct TrackingInterval {
    QUuid id;
    Date startedAt;
    std::optional<Date> stoppedAt;

    friend bool operator==(const TrackingInterval&, const TrackingInterval&) = default;
};

/// `paused` is accepted on decoding and never written: a paused session stays `active` with a closed last
/// interval.
enum class SessionStatus { active, paused, completed };

/// One continuous stretch of work on one project, or on none, on one device. Pauses are the gaps between
/// intervals. At most the last interval is open. A completed session has `reportedTotalSeconds` and no
/// `idleDiscardCutoffAt`.
struct Session {
    QUuid id;
    QString deviceId;
    QString projectId;   ///< Empty without a project.
    QString projectName; ///< Empty without a project.
    std::vector<TrackingInterval> intervals;
    qint64 mouseCount = 0;
    qint64 keyboardCount = 0;
    double activityScore = 0; ///< 0 to 100.
    SessionStatus status = SessionStatus::active;
    std::optional<Date> idleDiscardCutoffAt;    ///< Last input before the current idle period.
    std::optional<qint64> reportedTotalSeconds; ///< Frozen total; when set, it replaces the sum of the intervals.

    /// Sum of the intervals, an open one counted up to `asOf`, a negative one as 0. Ignores the frozen total.
    Seconds totalSeconds(Date asOf) const;
    /// The frozen total when there is one, else `totalSeconds(asOf)`.
    Seconds totalSecondsForReporting(Date asOf) const;

    friend bool operator==(const Session&, const Session&) = default;
};

/// UUID text of the database, the wire and file names: hyphenated, upper case, 36 characters.
QString uuidText(const QUuid& id);
/// The UUID of a canonical text, in either case; absent for any other text.
std::optional<QUuid> parseUuid(const QString& text);

/// The local JSON form of a session, or absent when a number in it is not finite.
std::optional<QByteArray> encodeSession(const Session& session);
/// Absent when a required key is missing, has another type, or the status is unknown.
std::optional<Session> decodeSession(const QByteArray& payload);

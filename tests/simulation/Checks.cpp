#include "World.h"

#include <QDirIterator>
#include <cmath>
#include <sqlite3.h>

namespace {

/// A second, read-only look at the program's database, past its own code.
class Look {
public:
    explicit Look(const QString& file) {
        sqlite3_open_v2(file.toUtf8(), &db_, SQLITE_OPEN_READONLY, nullptr);
    }
    ~Look() { sqlite3_close(db_); }
    Look(const Look&) = delete;
    Look& operator=(const Look&) = delete;

    template <typename Row>
    void each(const char* sql, Row row) const {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr) == SQLITE_OK)
            while (sqlite3_step(statement) == SQLITE_ROW)
                row(statement);
        sqlite3_finalize(statement);
    }

private:
    sqlite3* db_ = nullptr;
};

QByteArray blob(sqlite3_stmt* row, int column) {
    return {static_cast<const char*>(sqlite3_column_blob(row, column)), sqlite3_column_bytes(row, column)};
}

} // namespace

QString World::databaseFile() const {
    return folder_.path() + QStringLiteral("/Velmora TimeTracker/timetracker.sqlite");
}

std::vector<Session> World::storedSessions(const char* table) const {
    std::vector<Session> sessions;
    Look(databaseFile())
        .each((QByteArray("SELECT payload FROM ") + table).constData(), [&](sqlite3_stmt* row) {
            if (const auto session = decodeSession(blob(row, 0)))
                sessions.push_back(*session);
        });
    return sessions;
}

qint64 World::count(const char* sql) const {
    qint64 result = 0;
    Look(databaseFile()).each(sql, [&](sqlite3_stmt* row) { result = sqlite3_column_int64(row, 0); });
    return result;
}

qint64 World::pictureFiles() const {
    qint64 files = 0;
    for (QDirIterator it(folder_.path(), {QStringLiteral("*.jpg")}, QDir::Files,
                         QDirIterator::Subdirectories);
         it.hasNext(); it.next())
        ++files;
    return files;
}

QUuid World::sessionOfRow(const QString& row) const {
    QUuid session;
    Look(databaseFile())
        .each(("SELECT session_id FROM upload_queue WHERE id = '" + row.toLatin1() + "'").constData(),
              [&](sqlite3_stmt* found) { session = QUuid(QString::fromUtf8(blob(found, 0))); });
    return session;
}

void World::checkHour() {
    nextHour_ = std::floor(real() / 3600) * 3600 + 3600;
    // A span that still runs is noted up to now, and goes on.
    if (seen_.isRunning()) {
        truth_.note(intervalBegan_, real(), Truth::Second::worked);
        truth_.blur(intervalBegan_);
        truth_.blur(real());
    }
    const std::vector<Session> finished = storedSessions("session_history");
    const std::vector<Session> active = storedSessions("sessions");
    checkHistory(finished);
    checkDelivery(finished, active);
    checkPictures();
    if (changesClock_) {
        checkSpans(finished);
        return;
    }
    std::vector<Session> all = finished;
    all.insert(all.end(), active.begin(), active.end());
    QHash<QUuid, double> openUntil = diedRunning_;
    if (seen_.isRunning())
        openUntil[seen_.session] = real();
    // What a finished session holds does not change any more, but for one found open on a later day.
    const double since = real() < options_.days * 86400 ? real() - 3 * 86400 : 0;
    for (const QString& fault : truth_.compare(all, since, real(), openUntil))
        complain(fault);
    if (isTidy())
        checkToday(all);
}

void World::checkHistory(const std::vector<Session>& finished) {
    for (const Session& session : finished) {
        if (session.status != SessionStatus::completed || !session.reportedTotalSeconds ||
            session.idleDiscardCutoffAt)
            complain(QStringLiteral("a finished session is not frozen"));
        else if (std::abs(static_cast<double>(*session.reportedTotalSeconds) - session.totalSeconds(Date{})) >
                 1)
            complain(QStringLiteral("a frozen total is not the sum of its intervals"));
        const qint64 counted = session.mouseCount + session.keyboardCount;
        const int events = events_.value(session.id);
        if (counted > events || (happened_.deaths == 0 && counted < events))
            complain(QStringLiteral("a session counted %1 events of %2").arg(counted).arg(events));
        if (!changesClock_ && !changesZone_ && !session.intervals.empty() &&
            companyDate(session.intervals.front().startedAt) !=
                companyDate(*session.intervals.back().stoppedAt))
            complain(QStringLiteral("a session spans two days of the company"));
    }
}

/// With a clock that jumps, wall times no longer name real seconds; but each interval must be one in which the
/// session ran, and as long, within what the clock was moved meanwhile.
void World::checkSpans(const std::vector<Session>& finished) {
    for (const Session& session : finished) {
        if (endedWithTheirDay_.contains(session.id))
            continue;
        std::vector<TrackingInterval> left = session.intervals;
        for (const Span& span : spans_) {
            if (span.session != session.id)
                continue;
            const auto interval = std::find_if(left.begin(), left.end(), [&](const TrackingInterval& one) {
                return std::abs(one.startedAt - span.wallBegan) <= Truth::tickSlack;
            });
            const double billed =
                interval == left.end() ? 0 : std::max(0.0, *interval->stoppedAt - interval->startedAt);
            const double slack = span.jumped + Truth::tickSlack;
            if (billed > span.seconds + slack)
                complain(QStringLiteral("B: billed %1 s of %2 s").arg(billed).arg(span.seconds));
            if (span.isPlain && billed < span.seconds - slack)
                complain(QStringLiteral("L: billed %1 s of %2 s").arg(billed).arg(span.seconds));
            if (interval != left.end())
                left.erase(interval);
        }
        if (!left.empty())
            complain(QStringLiteral("B: %1 intervals that nobody worked").arg(left.size()));
    }
}

/// Today's figure lies between what is billed and all that ran: the server may still know time that an idle
/// rule took out later.
void World::checkToday(const std::vector<Session>& all) {
    if (!seen_.isTracking || seen_.isPaused || real() - intervalBegan_ < 5 ||
        real() - companyMidnight(platform_.timeline.date()) < 5)
        return; // it is brought up to date by the ticker, and at a rollover
    const QDate today = companyDate(platform_.timeline.date());
    double billed = 0;
    for (const Session& session : all)
        if (!session.intervals.empty() && companyDate(session.intervals.front().startedAt) == today &&
            (session.status == SessionStatus::completed
                 ? session.intervals.back().stoppedAt > serverDayMovedOn_
                 : session.id == seen_.session))
            billed += session.totalSeconds(platform_.timeline.date());
    double ran = seen_.isRunning() ? real() - intervalBegan_ : 0;
    const QString prefix = today.toString(Qt::ISODate) + u'#';
    for (auto slot = slots_.cbegin(); slot != slots_.cend(); ++slot)
        if (slot.key().startsWith(prefix))
            ran += slot->ran;
    const double shown = core_->sessionManager.todayTotalSeconds();
    const double slack = Truth::tickSlack * static_cast<double>(1 + all.size());
    if (shown < billed - slack || shown > ran + slack)
        complain(
            QStringLiteral("today shows %1 s, billed are %2 s, %3 s ran").arg(shown).arg(billed).arg(ran));
}

/// Of the pictures taken, those that are not on the disk, have not arrived and were not dropped by name.
qint64 World::missingPictures() const {
    return platform_.displays.picturesTaken - pictureFiles() - server_.screenshots.size() - droppedPictures_;
}

void World::checkPictures() {
    stampPictures();
    if (droppedPictures_ > server_.refusedPictures)
        complain(QStringLiteral("S: %1 pictures dropped, %2 refused")
                     .arg(droppedPictures_)
                     .arg(server_.refusedPictures));
    // They age out after a week in which the clock jumped ahead, or their company was not chosen.
    constexpr double week = 7 * 86400;
    if (jumped_ + (changesCompany_ ? real() : 0) < week && missingPictures() > lostPictures_)
        complain(QStringLiteral("S: %1 of %2 pictures are missing")
                     .arg(missingPictures())
                     .arg(platform_.displays.picturesTaken));
}

/// The beginning of each session and the end of each finished one has arrived as it was, waits in the queue,
/// or was dropped by name.
void World::checkDelivery(const std::vector<Session>& finished, const std::vector<Session>& active) {
    QHash<QString, QSet<QUuid>> queued;
    Look(databaseFile()).each("SELECT type, session_id FROM upload_queue", [&](sqlite3_stmt* row) {
        queued[QString::fromUtf8(blob(row, 0))].insert(QUuid(QString::fromUtf8(blob(row, 1))));
    });
    const auto isAccountedFor = [&](const Session& session, const QString& type) {
        return queued[type].contains(session.id) || dropped_[type].contains(session.id) ||
               isClosedElsewhere(session.id);
    };
    QSet<QUuid> known;
    const auto checkStart = [&](const Session& session) {
        known.insert(session.id);
        if (!changesZone_ && server_.startBodies.value(session.id).size() > 1)
            complain(QStringLiteral("D: session %1 began with different bodies").arg(session.id.toString()));
        if (!server_.startBodies.contains(session.id) && !beganPaused_.contains(session.id) &&
            !isAccountedFor(session, QStringLiteral("startSession")))
            complain(QStringLiteral("D: session %1 never began for the server").arg(session.id.toString()));
    };
    for (const Session& session : active)
        checkStart(session);
    for (const Session& session : finished) {
        checkStart(session);
        const auto record = server_.sessions.value(session.id);
        if (record.completedBodies.isEmpty() && !isAccountedFor(session, QStringLiteral("heartbeat")))
            complain(QStringLiteral("D: the end of session %1 is lost").arg(session.id.toString()));
        if (record.completedBodies.size() > 1)
            complain(QStringLiteral("D: session %1 came with different bodies").arg(session.id.toString()));
        if (!record.completedBodies.isEmpty() && record.completedSeconds != session.reportedTotalSeconds)
            complain(QStringLiteral("D: session %1 came with another total").arg(session.id.toString()));
    }
    for (auto started = server_.startBodies.keyBegin(); started != server_.startBodies.keyEnd(); ++started)
        if (!known.contains(*started))
            complain(QStringLiteral("D: session %1 began that does not exist").arg(started->toString()));
}

/// The slots of the calendar hold the seconds that ran in them, and have arrived as they stand.
void World::checkSegments() {
    const qint64 unsent =
        count("SELECT count(*) FROM activity_segments WHERE uploaded_at IS NULL "
              "AND active_seconds + non_idle_seconds + mouse_movements + keyboard_movements > 0");
    if (unsent > 1)
        complain(QStringLiteral("D: %1 segments were never sent").arg(unsent));
    struct Held {
        int tracked, active, events;
    };
    QHash<QString, Held> held;
    Look(databaseFile())
        .each("SELECT segment_date || '#' || segment_number, non_idle_seconds, uploaded_at IS NOT NULL, "
              "active_seconds, mouse_movements + keyboard_movements FROM activity_segments",
              [&](sqlite3_stmt* row) {
                  const QString slot = QString::fromUtf8(blob(row, 0));
                  const int seconds = sqlite3_column_int(row, 1);
                  held[slot] = {seconds, sqlite3_column_int(row, 3), sqlite3_column_int(row, 4)};
                  const double arrived = server_.segments.value(slot, -1);
                  if (sqlite3_column_int(row, 2) != 0 && !changesCompany_ &&
                      std::abs(arrived - std::min(seconds / 6.0, 100.0)) > 0.01)
                      complain(QStringLiteral("D: segment %1 arrived with %2 %").arg(slot).arg(arrived));
              });
    if (!isTidy())
        return;
    for (auto slot = slots_.cbegin(); slot != slots_.cend(); ++slot) {
        const Held counted = held.take(slot.key());
        const double slack = Truth::tickSlack * (1 + slot->edges);
        const auto compare = [&](const char* what, double holds, double happened, double within) {
            if (holds > happened + within || (!slot->isShort && holds < happened - within))
                complain(QStringLiteral("B: segment %1 holds %2 %3 of %4")
                             .arg(slot.key())
                             .arg(holds)
                             .arg(QLatin1String(what))
                             .arg(happened));
        };
        compare("s", counted.tracked, slot->ran, slack);
        compare("events", counted.events, slot->events, 10 * slack);
        if (counted.active > slot->touches + slack)
            complain(QStringLiteral("B: segment %1 was active for %2 s").arg(slot.key()).arg(counted.active));
    }
    for (const Held& counted : held)
        if (counted.tracked > Truth::tickSlack)
            complain(QStringLiteral("B: a segment holds %1 s in which nothing ran").arg(counted.tracked));
}

#include "World.h"

#include "PreferenceStores.h"
#include "SegmentUtils.h"

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

void World::checkHour() {
    nextHour_ = std::floor(real() / 3600) * 3600 + 3600;
    // A span that still runs is noted up to now, and goes on.
    if (seen_.isRunning()) {
        truth_.note(intervalBegan_, real(), Truth::Second::worked);
        truth_.blur(intervalBegan_);
        truth_.blur(real());
    }
    std::vector<Session> all = storedSessions("session_history");
    for (const Session& session : all) {
        if (session.status != SessionStatus::completed || !session.reportedTotalSeconds ||
            session.idleDiscardCutoffAt)
            complain(QStringLiteral("a finished session is not frozen"));
        else if (std::abs(static_cast<double>(*session.reportedTotalSeconds) - session.totalSeconds(Date{})) >
                 1)
            complain(QStringLiteral("a frozen total is not the sum of its intervals"));
        const bool isTidy =
            !changesClock_ && !changesZone_ && happened_.deaths == 0 && session.intervals.size() > 0;
        if (isTidy && companyDate(session.intervals.front().startedAt) !=
                          companyDate(*session.intervals.back().stoppedAt))
            complain(QStringLiteral("a session spans two days of the company"));
    }
    if (changesClock_) {
        // Wall times no longer name real seconds; the sums must still agree within what the clock jumped.
        double billed = 0;
        for (const Session& session : all)
            billed += session.totalSeconds(Date{});
        // A crash may bill to the end of its day.
        const double limit = ranSeconds_ + jumped_ + Truth::tickSlack + 86400.0 * happened_.deaths;
        if (billed > limit)
            complain(QStringLiteral("B: billed %1 s of %2 s").arg(billed).arg(limit));
        return;
    }
    const auto active = storedSessions("sessions");
    all.insert(all.end(), active.begin(), active.end());
    const auto openUntil = seen_.isRunning() ? std::optional(real()) : diedRunningAt_;
    for (const QString& fault : truth_.compare(all, real(), openUntil))
        complain(fault);
    if (core_ && core_->sessionManager.todayTotalSeconds() + 1 < core_->sessionManager.elapsedSeconds() &&
        !changesZone_)
        complain(QStringLiteral("today's total is below the running session"));
}

/// The storm is over: every row must find its way now, of either company.
void World::calmDown() {
    server_.faultRate = 0;
    server_.isUnreachable = server_.isFailing = false;
    jobsUntilDeath_ = -1;
    platform_.permissions.screenRecording = true;
    if (changesClock_ || changesZone_) {
        // Due times and slots that lie in the future of a clock or zone set back wait for their moment: let
        // it come.
        isCommanding_ = true;
        core_->sessionManager.stopTracking();
        observe();
        isCommanding_ = false;
        platform_.timeline.sleepMachine(86400 + jumped_);
        slept_ += 86400 + jumped_;
    }
    for (int round = 0; round < 2 && complaints_.isEmpty(); ++round) {
        pass(700);
        touch();
        isCommanding_ = true;
        if (core_->sessionManager.interruptedSession()) {
            truth_.note(diedRunningAt_.value_or(real()) - Truth::crashLoss, real(), Truth::Second::allowed);
            resolveGap(false);
            diedRunningAt_.reset();
            core_->sessionManager.resumeInterruptedSession();
            observe();
        }
        core_->sessionManager.stopTracking();
        observe();
        isCommanding_ = false;
        pass(1500);
        // A row under way while the company changed keeps its mark until the next launch.
        core_.reset();
        platform_.processDied();
        startProcess();
        pass(1500);
        changeCompany();
        pass(1500);
    }
    checkHour();
}

void World::checkDelivery() {
    const qint64 rows = count("SELECT count(*) FROM upload_queue");
    if (rows != 0)
        complain(QStringLiteral("D: %1 rows are still queued after the calm").arg(rows));
    int missing = 0;
    int rewritten = 0;
    int misreported = 0;
    for (const Session& session : storedSessions("session_history")) {
        const auto& record = server_.sessions[session.id];
        missing +=
            record.completedBodies.isEmpty() && !record.takenOver && !closedByTakeover_.contains(session.id)
                ? 1
                : 0;
        rewritten += record.completedBodies.size() > 1 ? 1 : 0;
        misreported +=
            !record.completedBodies.isEmpty() && record.completedSeconds != session.reportedTotalSeconds;
    }
    // A row may be discarded after six failures, which is logged; nothing else may be missing.
    if (missing > discarded_.value(QStringLiteral("heartbeat")))
        complain(QStringLiteral("D: %1 finished sessions never arrived, %2 were discarded by name")
                     .arg(missing)
                     .arg(discarded_.value(QStringLiteral("heartbeat"))));
    if (rewritten > 0)
        complain(QStringLiteral("D: %1 sessions were delivered with different bodies").arg(rewritten));
    if (misreported > 0)
        complain(QStringLiteral("D: %1 sessions arrived with another total").arg(misreported));

    qint64 files = 0;
    for (QDirIterator it(folder_.path(), {QStringLiteral("*.jpg")}, QDir::Files,
                         QDirIterator::Subdirectories);
         it.hasNext(); it.next())
        ++files;
    const qint64 known = files + server_.screenshots.size();
    if (known + happened_.deaths < platform_.displays.picturesTaken)
        complain(QStringLiteral("S: %1 pictures taken, %2 known")
                     .arg(platform_.displays.picturesTaken)
                     .arg(known));

    const qint64 unsent =
        count("SELECT count(*) FROM activity_segments WHERE uploaded_at IS NULL "
              "AND active_seconds + non_idle_seconds + mouse_movements + keyboard_movements > 0");
    if (unsent > 1)
        complain(QStringLiteral("D: %1 segments were never sent").arg(unsent));
    Look(databaseFile())
        .each("SELECT segment_date || '#' || segment_number, non_idle_seconds FROM activity_segments "
              "WHERE uploaded_at IS NOT NULL",
              [&](sqlite3_stmt* row) {
                  const QString slot = QString::fromUtf8(blob(row, 0));
                  const double arrived = server_.segments.value(slot, -1);
                  if (!changesCompany_ &&
                      std::abs(arrived - std::min(sqlite3_column_int(row, 1) / 6.0, 100.0)) > 0.01)
                      complain(QStringLiteral("D: segment %1 arrived with %2 %").arg(slot).arg(arrived));
              });
    const auto tracked = static_cast<double>(count("SELECT sum(non_idle_seconds) FROM activity_segments"));
    const double slack =
        3.0 * (happened_.starts + happened_.sleeps + happened_.idlePauses + happened_.midnights + 10);
    if (!changesClock_ && !changesCompany_ && tracked > ranSeconds_ + slack)
        complain(QStringLiteral("B: segments hold %1 s of %2 s").arg(tracked).arg(ranSeconds_));
}

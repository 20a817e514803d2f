#include "World.h"

#include "storage/CaptureFolder.h"
#include "storage/TrackingHeartbeat.h"
#include "tests/support/DatabaseProbe.h"

#include <QDirIterator>
#include <cmath>

QStringList World::sql(const QByteArray& text) const {
    return querySQLite(databaseFile(), text);
}

std::vector<Session> World::storedSessions(const QByteArray& table) const {
    std::vector<Session> sessions;
    for (const QString& payload : sql("SELECT payload FROM " + table))
        sessions.push_back(decodeSession(payload.toUtf8()).value());
    return sessions;
}

QStringList World::pictureFiles(const QString& pattern) const {
    QStringList files;
    for (QDirIterator it(folder_.path(), {pattern}, QDir::Files, QDirIterator::Subdirectories); it.hasNext();)
        files.append(it.next());
    return files;
}

QString World::pictureFolder() const {
    return CaptureFolder::capturesDirectory(platform_.information, accounts[account_].key());
}

/// The program has the configuration of its own company, and soon after it can have one.
void World::checkConfiguration() {
    const auto& config = core_->appState.remoteConfig();
    const Seconds uptime = platform_.timeline.uptime();
    if (config && !isSigningIn_ && config->companyName && *config->companyName != accounts[account_].key())
        complain("the configuration of %1 serves another company", *config->companyName);
    if (config || !core_->appState.isAuthenticated() || server_.isUnreachable || server_.isFailing)
        configuredAt_ = uptime;
    constexpr Seconds longest = 900; // of a server that answers most of the time
    if (uptime - configuredAt_ > longest)
        complain("no configuration for %1 s", uptime - configuredAt_);
}

/// A running session that the server knows is reported once for each picture, or each that failed.
void World::checkReports() {
    constexpr Seconds longest = 20 * 60 + 60;
    const Seconds since =
        std::min(platform_.timeline.uptime() - server_.lastReport.value(seen_.session), real() - intervalBegan_);
    const QByteArray id = seen_.session.toString(QUuid::WithoutBraces).toUpper().toLatin1();
    if (seen_.isRunning() && server_.hasBegun(seen_.session) && since > longest &&
        sql("SELECT id FROM upload_queue WHERE type = 'startSession' AND session_id = '" + id + "'").isEmpty())
        complain("D: the running session was not reported for %1 s", since);
}

void World::checkHour() {
    nextHour_ = std::floor(real() / 3600) * 3600 + 3600;
    const int offset = companyTime(platform_.timeline.date()).offsetFromUtc();
    const bool hasChanged = std::exchange(offset_, offset).value_or(offset) != offset;
    if (hasChanged && seen_.isTracking && !changesZone_ && !changesClock_)
        ++happened_["offset change"];
    // A span that still runs is noted up to now, and goes on.
    if (seen_.isRunning())
        noteRunning();
    const std::vector<Session> finished = storedSessions("session_history");
    std::vector<Session> all = storedSessions("sessions");
    all.insert(all.end(), finished.begin(), finished.end());
    checkHistory(finished);
    checkDelivery(all);
    checkPictures();
    checkSegments();
    checkReports();
    if (changesClock_) {
        checkSpans(finished);
        return;
    }
    const auto openUntil = [this](const QUuid& session) -> std::optional<double> {
        if (seen_.isRunning() && session == seen_.session)
            return real();
        const auto mark = TrackingHeartbeat::load(session, platform_.preferences); // of a run that died
        return mark ? std::optional(*mark - truth_.start()) : std::nullopt;
    };
    // What a finished session holds does not change any more, but for one found open on a later day.
    const double since = real() < options_.days * 86400 ? real() - 3 * 86400 : 0;
    for (const QString& fault : truth_.compare(all, since, real(), openUntil))
        complain(fault);
    if (isTidy())
        checkToday(all);
}

void World::checkHistory(const std::vector<Session>& finished) {
    for (const Session& session : finished) {
        if (session.status != SessionStatus::completed || !session.reportedTotalSeconds || session.idleDiscardCutoffAt)
            complain("a finished session is not frozen");
        else if (std::abs(static_cast<double>(*session.reportedTotalSeconds) - session.totalSeconds(Date{})) > 1)
            complain("a frozen total is not the sum of its intervals");
        const auto isBackward = [](const TrackingInterval& one) { return *one.stoppedAt < one.startedAt - 0.01; };
        if (!changesClock_ && std::ranges::any_of(session.intervals, isBackward))
            complain("an interval ends before it begins");
        const qint64 counted = session.mouseCount + session.keyboardCount;
        const Known known = known_.value(session.id);
        if (counted > known.events || counted < known.events - known.lost)
            complain("a session counted %1 events of %2, %3 lost", counted, known.events, known.lost);
        if (!changesClock_ && !changesZone_ && !session.intervals.empty() &&
            companyDate(session.intervals.front().startedAt) != companyDate(*session.intervals.back().stoppedAt))
            complain("a session spans two days of the company");
    }
}

/// With a clock that jumps, wall times no longer name real seconds; but each interval must be one in which the
/// session ran, and as long. A jump cuts it.
void World::checkSpans(const std::vector<Session>& finished) {
    for (const Session& session : finished) {
        std::vector<Span> spans = known_[session.id].spans;
        std::ranges::sort(spans, std::greater(),
                          &Span::seconds); // short ones may begin where a neighbour does
        std::vector<TrackingInterval> left = session.intervals;
        const auto length = [](const TrackingInterval& one) { return std::max(0.0, *one.stoppedAt - one.startedAt); };
        for (const Span& span : spans) {
            // Midnights that the clock passes twice begin intervals at the same moment.
            const auto distance = [&](const TrackingInterval& one) {
                const double difference = std::abs(length(one) - span.seconds);
                const bool isAnother = std::abs(one.startedAt - span.wallBegan) > Truth::tickSlack ||
                                       (span.seconds < Truth::tickSlack && difference > Truth::tickSlack);
                return isAnother ? std::numeric_limits<double>::infinity() : difference;
            };
            const auto nearest = std::ranges::min_element(left, {}, distance);
            const auto interval = nearest != left.end() && std::isfinite(distance(*nearest)) ? nearest : left.end();
            const double billed = interval == left.end() ? 0 : length(*interval);
            if (billed > span.seconds + Truth::tickSlack)
                complain("B: billed %1 s of %2 s", billed, span.seconds);
            if (span.isPlain && billed < span.seconds - Truth::tickSlack)
                complain("L: billed %1 s of %2 s", billed, span.seconds);
            if (interval != left.end())
                left.erase(interval);
        }
        for (const TrackingInterval& one : left)
            if (length(one) > Truth::tickSlack)
                complain("B: billed %1 s that nobody worked", length(one));
    }
}

/// Today's figure lies between what is billed and all that ran: the server may still know time that an idle
/// rule took out later.
void World::checkToday(const std::vector<Session>& all) {
    if (!seen_.isTracking || heardNoWake_ || real() - intervalBegan_ < 5 ||
        real() - companyMidnight(platform_.timeline.date()) < 5)
        return; // it is brought up to date by the ticker, and at a rollover
    const QDate today = companyDate(platform_.timeline.date());
    double billed = 0;
    double ran = seen_.isRunning() ? real() - slotsCounted_ : 0;
    for (const Session& session : all)
        if (!session.intervals.empty() && companyDate(session.intervals.front().startedAt) == today &&
            (session.status == SessionStatus::completed || session.id == seen_.session))
            billed += session.totalSeconds(platform_.timeline.date());
    const QString prefix = today.toString(Qt::ISODate) + u'#';
    for (auto slot = slots_.cbegin(); slot != slots_.cend(); ++slot)
        if (slot.key().startsWith(prefix))
            ran += slot->ran;
    const double shown = core_->sessionManager.todayTotalSeconds();
    const double slack = Truth::tickSlack * static_cast<double>(1 + all.size());
    if (shown < billed - slack || shown > ran + slack)
        complain("today shows %1 s, billed are %2 s, %3 s ran", shown, billed, ran);
}

/// Of the pictures taken, those that are not on the disk, have not arrived and were not dropped by name.
qint64 World::missingPictures() const {
    return platform_.displays.picturesTaken - pictureFiles().size() - server_.screenshots.size() - droppedPictures_;
}

void World::checkPictures() {
    stampPictures();
    if (const auto refused = server_.refused["screenshot"].size(); droppedPictures_ > refused)
        complain("S: %1 pictures dropped, %2 refused", droppedPictures_, refused);
    // They age out after a week in which the clock jumped ahead, or their company was not chosen.
    constexpr double week = 7 * 86400;
    if (jumped_ + (changesCompany_ ? real() : 0) < week && missingPictures() > lostPictures_)
        complain("S: %1 of %2 pictures are missing", missingPictures(), platform_.displays.picturesTaken);
}

/// The beginning of each session and the end of each finished one has arrived as it was, waits in the queue,
/// or was refused for good.
void World::checkDelivery(const std::vector<Session>& all) {
    QHash<QString, QSet<QUuid>> queued;
    for (const QString& row : sql("SELECT type, session_id FROM upload_queue"))
        queued[row.section(u'|', 0, 0)].insert(QUuid(row.section(u'|', 1)));
    for (const QString& complaint : server_.complaints)
        complain("D: " + complaint);
    auto unknown = server_.sessions;
    for (const Session& session : all) {
        const QString id = session.id.toString();
        const auto record = server_.sessions.value(session.id);
        unknown.remove(session.id);
        if (session.intervals.empty()) { // it never ran, so it was never announced
            if (!record.startBodies.isEmpty() || !record.completedBodies.isEmpty() ||
                queued["startSession"].contains(session.id) || queued["heartbeat"].contains(session.id))
                complain("D: session %1 is reported without an interval", id);
            continue;
        }
        const bool isRefused = record.startBodies.isEmpty() && server_.refused["startSession"].contains(session.id);
        const auto isAccountedFor = [&](const QString& type) {
            return queued[type].contains(session.id) || known_[session.id].dropped.contains(type) || record.takenOver ||
                   isRefused;
        };
        if (!changesZone_ && record.startBodies.size() > 1)
            complain("D: session %1 began with different bodies", id);
        if (record.startBodies.isEmpty() && !isAccountedFor("startSession"))
            complain("D: session %1 never began for the server", id);
        if (session.status != SessionStatus::completed)
            continue;
        if (record.completedBodies.isEmpty() && !isAccountedFor("heartbeat"))
            complain("D: the end of session %1 is lost", id);
        if (record.completedBodies.size() > 1)
            complain("D: session %1 came with different bodies", id);
        if (!record.completedBodies.isEmpty() && record.completedSeconds != session.reportedTotalSeconds)
            complain("D: session %1 came with another total", id);
    }
    for (const auto& [id, record] : unknown.asKeyValueRange())
        if (!record.startBodies.isEmpty())
            complain("D: session %1 began that does not exist", id.toString());
}

/// The slots of the calendar hold the seconds that ran in them, written each minute, and have arrived as they stand.
void World::checkSegments() {
    struct Held {
        int tracked, active, events;
    };
    QHash<QString, Held> held;
    for (const QString& row : sql("SELECT segment_date || '#' || segment_number, non_idle_seconds, active_seconds, "
                                  "mouse_movements + keyboard_movements, uploaded_at IS NOT NULL, timezone, domain_key "
                                  "FROM activity_segments")) {
        const QStringList columns = row.split(u'|');
        const QString& slot = columns[0];
        held[slot] = {columns[1].toInt(), columns[2].toInt(), columns[3].toInt()};
        if (!changesZone_ && columns[5] != QString::fromLatin1(zone_.id()))
            complain("segment %1 has the zone %2", slot, columns[5]);
        const auto arrived = server_.segments.value(columns[6] + u' ' + slot);
        if (columns[4] == u"1" && (std::abs(arrived.percent - std::min(held[slot].tracked / 6.0, 100.0)) > 0.01 ||
                                   arrived.zone != columns[5]))
            complain("D: segment %1 arrived with %2 % and zone %3", slot, arrived.percent, arrived.zone);
    }
    if (!isTidy())
        return;
    for (auto slot = slots_.cbegin(); slot != slots_.cend(); ++slot) {
        const Held counted = held.take(slot.key());
        const double slack = Truth::tickSlack * (1 + slot->edges);
        const auto compare = [&](const char* what, double holds, double happened, double within, double lost) {
            const bool isWritten = slot->countedUntil + 60 + Truth::tickSlack < platform_.timeline.uptime();
            if (holds > happened + within || (isWritten && holds < happened - within - lost))
                complain("B: segment %1 holds %2 %3 of %4", slot.key(), holds, what, happened);
        };
        // A slot that the clock repeats at the end of summer time holds no more than any other.
        compare("s", counted.tracked, std::min(slot->ran, 600.0), slack, slot->lost);
        compare("events", counted.events, slot->events, 10 * slack, slot->lost > 0 ? slot->events : 0);
        if (counted.active > slot->touches + slack)
            complain("B: segment %1 was active for %2 s", slot.key(), counted.active);
    }
    for (const Held& counted : held)
        if (counted.tracked > Truth::tickSlack)
            complain("B: a segment holds %1 s in which nothing ran", counted.tracked);
}

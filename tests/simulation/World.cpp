#include "World.h"

#include "storage/PreferenceStores.h"
#include "tests/support/DatabaseProbe.h"

#include <QLoggingCategory>
#include <QRegularExpression>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

/// Noon UTC of a day, and a zone whose clocks change within the life that begins there.
struct Start {
    double noon;
    const char* zone;
};
const Start starts[] = {{1774699200, "Europe/Berlin"},    {1772884800, "America/New_York"},
                        {1772884800, "America/St_Johns"}, {1775304000, "Australia/Lord_Howe"},
                        {1775304000, "Pacific/Auckland"}, {1792843200, "Europe/Berlin"},
                        {1776945600, "Africa/Cairo"}, // and without a change: a leap day, a year's end, a plain day
                        {1835352000, "Asia/Kolkata"},     {1798718400, "UTC"},
                        {1779969600, "Asia/Kathmandu"}};

/// Not in step with what a seed decides by its remainders.
const Start& startOf(quint32 seed) {
    return starts[seed / 5 % std::size(starts)];
}

/// The world whose program is logging at this moment.
World* listening = nullptr;

} // namespace

World::World(const Options& options)
    : options_(options)
    , random_(options.seed)
    , folder_(fastTemporaryFolder())
    , platform_(folder_.path(), options.seed, Date::since1970(startOf(options.seed).noon),
                zones[(options.seed / 3) % std::size(zones)])
    , server_(platform_.timeline, options.seed + 77)
    , truth_(platform_.timeline.date()) {
    listening = this;
    QLoggingCategory::setFilterRules(u"com.velmora.*.info=false\ncom.velmora.*.debug=false\n"
                                     "com.velmora.timetracker.session.info=true"_s);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& line) { listening->hear(line); });
    platform_.timeline.makeTimersLate(options.seed);
    platform_.displays.isListErrorDenial = false;
    server_.config.deviceId = "device";
    server_.config.projects = {{"p1", "One"}};
    server_.config.screenshotIntervalMinutes = 10;
    server_.config.idleMinutesThreshold = 5;
    server_.config.discardIdleTime = oneIn(2);
    server_.config.idleAction = "ask";
    zone_ = oneIn(2) ? QTimeZone(startOf(options.seed).zone) : platform_.timeline.zone();
    server_.config.appTimezone = QString::fromLatin1(zone_.id());
    server_.faultRate = oneIn(3) ? 0 : between(0.01, 0.25);
    platform_.urlSession.setServer([this](const URLRequest& request) {
        platform_.urlSession.requests.clear(); // the ledger remembers what matters
        if (options_.fault == PlantedFault::rowDeletedBeforeAnswer && request.body.contains("completed")) {
            options_.fault = PlantedFault::none; // once
            sql("DELETE FROM upload_queue WHERE type = 'heartbeat'");
            return SimulatedURLSession::failure(URLError::Code::networkConnectionLost);
        }
        return server_.handle(request);
    });
    storeSignIn();
    platform_.preferences.set(QLatin1String(PreferenceKey::apiTimezoneIdentifier), *server_.config.appTimezone);
}

World::~World() {
    endProcess();
    qInstallMessageHandler(nullptr);
}

/// What the program drops, it must name; the row is still there while it does.
void World::hear(const QString& logLine) {
    static const QRegularExpression failure(
        "^Task (\\S+) type=(\\w+) (?:failed \\(attempt (\\d+)\\)|permanent client error)");
    const auto match = failure.match(logLine);
    if (!match.hasMatch())
        return;
    const QString row = match.captured(1);
    const QString type = match.captured(2);
    if (match.hasCaptured(3))
        return hearAttempt(row, type, match.captured(3).toInt());
    const QUuid session = sessionOfRow(row);
    if (!server_.refused[type].contains(session))
        complain("D: a %1 was dropped that nobody refused", type);
    ++happened_["drop"];
    known_[session].dropped.insert(type);
    droppedPictures_ += type == "screenshot";
}

/// No attempt counts without a verdict of the server, and few while it is known to be down.
void World::hearAttempt(const QString& row, const QString& type, int attempt) {
    if (attempt > std::exchange(attempts_[row], attempt) + 1)
        complain("D: a failure of a %1 counted twice", type);
    const QUuid session = sessionOfRow(row);
    if (++known_[session].attempts[type] > server_.verdicts[type][session])
        complain("D: a failure of a %1 counted without a verdict", type);
    constexpr int mostWhileDown = 10; // five open the circuit; late replies from before may close it
    if (server_.isFailing && ++countedFailures_ > mostWhileDown)
        complain("D: failures of a server that is down are counted");
}

QUuid World::sessionOfRow(const QString& row) const {
    return QUuid(sql("SELECT session_id FROM upload_queue WHERE id = '" + row.toLatin1() + "'").value(0));
}

QStringList World::run() {
    startProcess();
    const double end = options_.days * 86400;
    while (real() < end && complaints_.isEmpty())
        act();
    if (complaints_.isEmpty())
        calmDown();
    happened_["server fault"] = server_.faultsMet;
    happened_["takeover"] = server_.takeoverAnswers;
    return complaints_;
}

// ---- time

void World::pass(Seconds span) {
    const Seconds until = platform_.timeline.uptime() + span;
    while (complaints_.isEmpty() && platform_.timeline.step(until - platform_.timeline.uptime())) {
        observe();
        if (jobsUntilPress_ >= 0 && jobsUntilPress_-- == 0)
            command([this] { press(between(0, 0.7)); });
        if (holder_)
            continue; // what happens now is not on the disk yet
        if (jobsUntilDeath_ >= 0 && jobsUntilDeath_-- == 0) {
            die();
            if (oneIn(2))
                platform_.timeline.advance(between(0, 600)); // the machine goes on without the program
            startProcess(oneIn(4));
        }
        if (real() >= nextHour_ && !isSleepy_)
            checkHour();
    }
}

void World::observe() {
    const SessionManager& engine = core_->sessionManager;
    if (const auto& config = engine.config())
        discardsIdle_ = config->discardIdleTime;
    checkConfiguration();
    const Seconds shownBefore = std::exchange(shownToday_, engine.todayTotalSeconds());
    const double running = ran_ + (seen_.isRunning() ? real() - intervalBegan_ : 0);
    if (std::exchange(probes_, platform_.permissions.screenProbes) != platform_.permissions.screenProbes)
        capturedAt_ = running;
    constexpr Seconds longestCaptureInterval = 20 * 60 + 120; // and what the timers are late
    if (running - capturedAt_ > longestCaptureInterval)
        complain("S: no picture was tried for %1 s", running - capturedAt_);
    Seen now{engine.isTracking(), engine.isPaused(), engine.isIdle(), engine.needsIdleDecision(), {}, {}};
    if (const auto& session = engine.currentSession()) {
        now.session = session->id;
        now.project = session->projectId;
    }
    const Seconds idleFor = platform_.timeline.uptime() - lastInputUptime_;
    if (now == seen_) {
        // A new threshold holds from the next interval on.
        const Seconds unnoticed = std::min(idleFor - idleThreshold_, real() - watchedSince_);
        if (now.isRunning() && unnoticed > 7.5 && !isSleepy_)
            complain("idle for %1 s, and not noticed", idleFor);
        return;
    }
    const Seen before = seen_;
    const bool isRollover = before.isTracking && now.isTracking && before.session != now.session;
    const bool isIdlePause = before.isRunning() && now.isTracking && now.isPaused && now.isIdle;
    if (isRollover) {
        ++happened_["midnight"];
        moveGap(before.session, now.session);
        if (before.project != now.project)
            complain("midnight changed the project");
        if (before.isPaused && now.isPaused && before.isIdle != now.isIdle)
            complain("midnight changed the reason of the pause");
        if (before.isPaused && now.isPaused && before.isAsked != now.isAsked)
            complain("midnight took back a question");
    }
    if (before.isRunning() && isRollover) {
        midnightPassed();
        seen_.session = now.session;
    }
    if (before.isRunning() && !now.isRunning()) {
        runningEnded(!isIdlePause);
        known_[before.session].unstored = 0;
    }
    seen_ = now;
    heardNoWake_ = false;
    if (now.isRunning() && (!before.isRunning() || isRollover)) {
        if (!isCommanding_ && !isSleepy_ && !isRollover)
            complain("running for no reason");
        if (!before.isRunning())
            intervalBegan();
        runningBegan(isRollover);
    }
    if (isIdlePause) {
        ++happened_["idle pause"];
        if (idleFor < idleThreshold_ - 0.1)
            complain("paused as idle after %1 s", idleFor);
        const double lastInput = std::max(intervalBegan_, lastCountedInput_.value_or(intervalBegan_));
        known_[now.session].gap = {lastInput, real()};
        truth_.note(lastInput, real(), Truth::Second::allowed);
    } else if (before.isRunning() && now.isTracking && now.isPaused && !isCommanding_ && !isSleepy_) {
        complain("paused for no reason");
    }
    if (before.isRunning() && !now.isTracking && isTidy() &&
        companyDate(wallBegan_) == companyDate(platform_.timeline.date()) &&
        shownToday_ < shownBefore - Truth::tickSlack)
        complain("the stop took %1 s from today's figure", shownBefore - shownToday_);
    if (before.isTracking && !now.isTracking) {
        resolveGap(before.session, false);
        const bool takenOver = server_.sessions.value(before.session).takenOver;
        const bool idleStop = engine.lastStatusMessage() == "Tracking stopped: idle";
        if (!isCommanding_ && !takenOver && !idleStop && platform_.permissions.screenRecording &&
            core_->appState.isAuthenticated())
            complain("stopped for no reason: " + engine.lastStatusMessage().value_or(QString()));
    }
}

// ---- what it means

void World::runningBegan(bool isRollover) {
    watchedSince_ = real();
    const auto& config = core_->sessionManager.config();
    idleThreshold_ = 60.0 * static_cast<double>(std::max<qint64>(config ? config->idleMinutesThreshold : 5, 1));
    if (isRollover && options_.fault == PlantedFault::doubleCountAtMidnight) {
        Session twice = storedSessions("session_history").back();
        twice.id = platform_.random.uuid();
        core_->store.appendSessionHistory(twice);
    }
}

void World::intervalBegan() {
    intervalBegan_ = slotsCounted_ = real();
    isContinued_ = false;
    wallBegan_ = platform_.timeline.date();
    ++slots_[slotOf(wallBegan_)].edges;
    truth_.blur(intervalBegan_);
}

/// What ran since midnight belongs to the next session; nothing stood still.
void World::midnightPassed() {
    noteRunning();
    const Date now = platform_.timeline.date();
    const double ranToday = now - (truth_.start() + companyMidnight(now));
    const double cut = std::clamp(real() - ranToday, intervalBegan_, real());
    ran_ += cut - intervalBegan_;
    if (changesClock_)
        known_[seen_.session].spans.push_back({wallBegan_, cut - intervalBegan_, true});
    isContinued_ = isContinued_ || cut > intervalBegan_;
    intervalBegan_ = cut;
    wallBegan_ = now - (real() - cut);
}

/// Of the session in `seen_`, which ran until now, or until the machine fell asleep.
void World::runningEnded(bool isPlain) {
    noteRunning();
    ran_ += real() - intervalBegan_;
    truth_.blur(real());
    ++slots_[slotOf(truth_.start() + real())].edges;
    if (changesClock_)
        known_[seen_.session].spans.push_back({wallBegan_, real() - intervalBegan_, isPlain});
}

/// The interval that runs, up to now. Slots begin at multiples of five minutes of universal time in every zone there is.
void World::noteRunning() {
    const double to = real();
    truth_.note(intervalBegan_, to, Truth::Second::worked);
    if (!isContinued_)
        truth_.blur(intervalBegan_);
    if (!isTidy())
        return;
    constexpr double piece = 300;
    const double zero = truth_.start().secondsSince1970();
    for (double& at = slotsCounted_; at < to;) {
        const double end = std::min(to, (std::floor((at + zero) / piece + 1e-9) + 1) * piece - zero);
        const Date middle = truth_.start() + (at + end) / 2;
        Slot& slot = slots_[slotOf(middle)];
        slot.ran += end - at;
        slot.countedUntil = platform_.timeline.uptime();
        at = end;
    }
}

/// A midnight that moves back leaves an idle gap after it to the new session; any other ends it.
void World::moveGap(const QUuid& from, const QUuid& to) {
    const auto dateOf = [this](Seconds moment) { return companyDate(truth_.start() + moment + jumped_); };
    auto& gap = known_[from].gap;
    if (gap && dateOf(gap->from) == dateOf(real()))
        known_[to].gap = std::exchange(gap, std::nullopt);
    resolveGap(from, false);
}

void World::resolveGap(const QUuid& session, bool goesOn) {
    const auto gap = std::exchange(known_[session].gap, std::nullopt);
    if (!gap)
        return;
    const bool isBilled = goesOn || !discardsIdle_;
    truth_.noteRoughly(gap->from, gap->to, isBilled ? Truth::Second::worked : Truth::Second::idle);
}

// ---- the company's calendar, in the plain words of QDateTime

QDateTime World::companyTime(Date date) const {
    return date.toDateTime(changesZone_ ? core_->sessionManager.engineTimeZone() : zone_);
}

double World::companyMidnight(Date date, int days) const {
    const QDateTime there = companyTime(date);
    return Date::fromDateTime(there.date().addDays(days).startOfDay(there.timeZone())) - truth_.start();
}

QString World::slotOf(Date date) const {
    const QDateTime there = companyTime(date);
    return u"%1#%2"_s.arg(there.toString("yyyy-MM-dd")).arg((there.time().hour() * 60 + there.time().minute()) / 10);
}

// ---- the process

void World::startProcess(bool diesAtStart) {
    stampPictures();
    jobsUntilDeath_ = diesAtStart ? std::uniform_int_distribution<>(0, 30)(random_) : -1;
    core_ = std::make_unique<TimeTrackerCore>(platform_.platform());
    seen_ = {};
    isSigningIn_ = false;
    countedFailures_ = 0;
    discardsIdle_ = true; // without a configuration
    pass(0);
    observe();
}

/// The files live on the machine of the test, whose clock is another one than the world's.
void World::stampPictures() {
    for (const QString& path : pictureFiles()) {
        QFile file(path);
        if (!stamped_.contains(path) && file.open(QIODevice::ReadWrite)) {
            stamp(file);
            stamped_.insert(path);
        }
    }
}

void World::stamp(QFile& file) const {
    file.setFileTime(platform_.timeline.date().toDateTime(QTimeZone::utc()), QFileDevice::FileModificationTime);
}

void World::endProcess() {
    core_.reset();
    platform_.processDied();
    seen_ = {};
    lastCountedInput_.reset();
    server_.forgetWaits();
}

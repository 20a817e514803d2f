#include "World.h"

#include "PreferenceStores.h"
#include "SegmentUtils.h"
#include "TrackingHeartbeat.h"

#include <QDir>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <cmath>

namespace {

const char* const zones[] = {"UTC",          "Europe/Berlin",     "America/New_York", "America/St_Johns",
                             "Asia/Kolkata", "Asia/Jakarta",      "Asia/Kathmandu",   "Australia/Lord_Howe",
                             "Africa/Cairo", "America/Sao_Paulo", "Pacific/Auckland", "Pacific/Honolulu"};
/// Noon UTC of days in spring and autumn, before a leap day and before a year's end.
const double starts[] = {1774612800, 1792929600, 1835352000, 1798718400, 1772798400, 1775131200, 1779969600};

QString fastFolder() {
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
           QStringLiteral("/velmora-world-XXXXXX");
}

/// The world whose program is logging at this moment.
World* listening = nullptr;

} // namespace

World::Happened& World::Happened::operator+=(const Happened& other) {
    for (const auto count :
         {&Happened::deaths, &Happened::sleeps, &Happened::idlePauses, &Happened::midnights,
          &Happened::starts, &Happened::takeovers, &Happened::clockJumps, &Happened::zoneChanges,
          &Happened::companyChanges, &Happened::serverFaults})
        this->*count += other.*count;
    workedSeconds += other.workedSeconds;
    return *this;
}

World::World(const Options& options)
    : options_(options)
    , random_(options.seed)
    , folder_(fastFolder())
    , platform_(folder_.path(), options.seed, Date::since1970(starts[options.seed % std::size(starts)]),
                zones[(options.seed / 3) % std::size(zones)])
    , server_(platform_.timeline, options.seed + 77)
    , truth_(platform_.timeline.date()) {
    listening = this;
    QLoggingCategory::setFilterRules(QStringLiteral("com.velmora.*.info=false\ncom.velmora.*.debug=false"));
    qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString& line) { listening->hear(line); });
    changesClock_ = options.seed % 5 == 4;
    changesZone_ = options.seed % 7 == 3;
    changesCompany_ = options.seed % 5 == 2;
    platform_.timeline.makeTimersLate(options.seed);
    server_.config.deviceId = QStringLiteral("device");
    server_.config.projects = {{QStringLiteral("p1"), QStringLiteral("One")}};
    server_.config.screenshotIntervalMinutes = 10;
    server_.config.idleMinutesThreshold = 5;
    server_.config.discardIdleTime = oneIn(2);
    server_.config.idleAction = QStringLiteral("ask");
    server_.config.appTimezone = QString::fromLatin1(zones[options.seed % std::size(zones)]);
    server_.faultRate = oneIn(3) ? 0 : between(0.01, 0.25);
    platform_.urlSession.setServer([this](const URLRequest& request) {
        platform_.urlSession.requests.clear(); // the ledger remembers what matters
        return server_.handle(request);
    });
    if (options.fault == PlantedFault::rowDeletedBeforeAnswer) {
        server_.beforeCompleted = [this](const QUuid& session) {
            for (const QUuid& row : core_->store.pendingUploadTaskIds(session, {UploadTaskType::heartbeat}))
                core_->store.markUploadTaskCompleted(row);
            server_.beforeCompleted = nullptr;
            return true;
        };
    }
    DomainStorage(platform_.preferences).setBaseURL(QUrl(QStringLiteral("https://a.example/api/v1/")));
    platform_.preferences.set(QLatin1String(PreferenceKey::apiTimezoneIdentifier),
                              *server_.config.appTimezone);
    KeychainService(platform_.secrets)
        .saveAuthTokens({QString::fromLatin1(server_.accessToken()), QStringLiteral("refresh"), Date{},
                         Date{}, QStringLiteral("2099-01-01T00:00:00Z"),
                         QStringLiteral("2099-01-01T00:00:00Z")});
}

World::~World() {
    core_.reset();
    platform_.processDied();
    qInstallMessageHandler(nullptr);
}

void World::hear(const QString& logLine) {
    static const QRegularExpression sixthFailure(QStringLiteral("type=(\\w+) failed \\(attempt 6\\)"));
    const auto match = sixthFailure.match(logLine);
    if (match.hasMatch())
        ++discarded_[match.captured(1)];
}

QStringList World::run() {
    startProcess();
    const double end = options_.days * 86400;
    while (real() < end && complaints_.isEmpty())
        act();
    if (complaints_.isEmpty())
        calmDown();
    if (complaints_.isEmpty())
        checkDelivery();
    happened_.serverFaults = server_.faultsMet;
    happened_.takeovers = server_.takeoverAnswers;
    happened_.workedSeconds = truth_.workedSeconds();
    return complaints_;
}

void World::complain(const QString& what) {
    if (complaints_.size() < 10)
        complaints_.append(QStringLiteral("[%1 s] %2").arg(real(), 0, 'f', 1).arg(what));
}

// ---- time
// ----------------------------------------------------------------------------------------------------------

void World::pass(Seconds span) {
    const Seconds until = platform_.timeline.uptime() + span;
    while (complaints_.isEmpty() && platform_.timeline.step(until - platform_.timeline.uptime())) {
        observe();
        if (jobsUntilDeath_ >= 0 && jobsUntilDeath_-- == 0) {
            die();
            if (oneIn(2))
                platform_.timeline.advance(between(0, 600)); // the machine goes on without the program
            startProcess();
        }
        if (real() >= nextHour_)
            checkHour();
    }
}

void World::observe() {
    const SessionManager& engine = core_->sessionManager;
    Seen now{engine.isTracking(), engine.isPaused(), engine.isIdle(),
             engine.currentSession() ? engine.currentSession()->id : QUuid()};
    const Seconds idleFor = platform_.timeline.uptime() - lastInputUptime_;
    if (now == seen_) {
        // A new threshold holds from the next interval on.
        const Seconds unnoticed = std::min(idleFor - idleThreshold_, real() - intervalBegan_);
        if (now.isRunning() && unnoticed > 7.5 && !isSleepy_)
            complain(QStringLiteral("idle for %1 s, and not noticed").arg(idleFor));
        return;
    }
    const Seen before = std::exchange(seen_, now);
    const bool isRollover = before.isTracking && now.isTracking && before.session != now.session;
    if (isRollover) {
        ++happened_.midnights;
        resolveGap(false);
    }
    if (before.isRunning() && (!now.isRunning() || isRollover))
        runningEnded();
    if (now.isRunning() && (!before.isRunning() || isRollover))
        runningBegan(isRollover);
    if (before.isRunning() && now.isTracking && now.isPaused && now.isIdle) {
        ++happened_.idlePauses;
        if (idleFor < idleThreshold_ - 0.1)
            complain(QStringLiteral("paused as idle after %1 s").arg(idleFor));
        const double lastInput = std::max(intervalBegan_, lastCountedInput_.value_or(intervalBegan_));
        gap_ = Gap{lastInput, real()};
        truth_.note(gap_->from, gap_->to, Truth::Second::allowed);
    } else if (before.isRunning() && now.isTracking && now.isPaused && !isCommanding_ && !isSleepy_) {
        complain(QStringLiteral("paused for no reason"));
    }
    if (before.isTracking && !now.isTracking) {
        resolveGap(false);
        const bool takenOver =
            server_.takeoverAnswers > std::exchange(seenTakeovers_, server_.takeoverAnswers);
        if (takenOver && !isCommanding_)
            closedByTakeover_.insert(before.session);
        const bool idleStop = engine.lastStatusMessage() == QStringLiteral("Tracking stopped: idle");
        if (!isCommanding_ && !takenOver && !idleStop && platform_.permissions.screenRecording)
            complain(QStringLiteral("stopped for no reason: ") +
                     engine.lastStatusMessage().value_or(QString()));
    }
}

// ---- what it means
// -------------------------------------------------------------------------------------------------

void World::runningBegan(bool isRollover) {
    if (!isCommanding_ && !isSleepy_ && !isRollover)
        complain(QStringLiteral("running for no reason"));
    intervalBegan_ = real();
    truth_.blur(intervalBegan_);
    const auto& config = core_->sessionManager.config();
    idleThreshold_ =
        60.0 * static_cast<double>(std::max<qint64>(config ? config->idleMinutesThreshold : 5, 1));
    if (isRollover)
        lastCountedInput_.reset();
    if (isRollover && options_.fault == PlantedFault::doubleCountAtMidnight) {
        const auto finished = storedSessions("session_history");
        if (!finished.empty()) {
            Session twice = finished.back();
            twice.id = platform_.random.uuid();
            core_->store.appendSessionHistory(twice);
        }
    }
}

void World::runningEnded() {
    ranSeconds_ += real() - intervalBegan_;
    truth_.note(intervalBegan_, real(), Truth::Second::worked);
    truth_.blur(intervalBegan_);
    truth_.blur(real());
}

void World::resolveGap(bool goesOn) {
    if (!gap_)
        return;
    const Gap gap = *std::exchange(gap_, std::nullopt);
    const bool isBilled = goesOn || !discards();
    truth_.note(gap.from, gap.to, isBilled ? Truth::Second::worked : Truth::Second::idle);
    truth_.blur(gap.from);
    truth_.blur(gap.to);
}

bool World::discards() const {
    const auto& config = core_->sessionManager.config();
    return !config || config->discardIdleTime;
}

QTimeZone World::companyZone() const {
    return core_->sessionManager.engineTimeZone();
}

QString World::companyDate(Date date) const {
    return SegmentUtils::segmentDateAndNumber(date, companyZone()).date;
}

// ---- the employee
// --------------------------------------------------------------------------------------------------

void World::touch() {
    lastInputUptime_ = platform_.timeline.uptime();
    if (seen_.isRunning())
        lastCountedInput_ = real();
    platform_.input.happen(oneIn(2) ? InputEventType::keyDown : InputEventType::mouseMoved,
                           1 + (oneIn(3) ? 4 : 0));
}

void World::workFor(Seconds span, Seconds pause) {
    const double until = real() + span;
    while (real() < until && complaints_.isEmpty()) {
        touch();
        pass(between(0.2, pause));
    }
}

void World::act() {
    const double hour =
        std::fmod(real() / 3600 + 9, 24); // the world begins at nine in the morning of the employee
    const bool isNight = hour < 7 && !oneIn(4);
    if (isNight) {
        if (!oneIn(4))
            sleepMachine(between(600, 4 * 3600));
        else
            pass(between(300, 3600));
        return;
    }
    useTheProgram();
    if (oneIn(3))
        server_.isUnreachable = false; // most outages are short
    switch (std::uniform_int_distribution<>(0, 13)(random_)) {
    case 0:
        pass(between(200, 1500)); // away from the desk
        touch();
        pass(8);
        break;
    case 1:
        sleepMachine(between(30, 7200));
        break;
    case 2:
        server_.isUnreachable = !server_.isUnreachable && oneIn(2);
        server_.isFailing = !server_.isFailing && oneIn(3);
        break;
    case 3:
        if (oneIn(3) && jobsUntilDeath_ < 0)
            jobsUntilDeath_ = std::uniform_int_distribution<>(0, 4000)(random_);
        break;
    case 4:
        changeSettings();
        break;
    case 5:
        if (oneIn(6) && seen_.isTracking)
            server_.takeOver(seen_.session);
        break;
    case 6:
        platform_.permissions.screenRecording = !oneIn(8);
        break;
    case 7:
        if (changesClock_ && oneIn(3))
            jumpClock();
        else if (changesCompany_ && oneIn(2))
            changeCompany();
        break;
    case 8:
        if (oneIn(2))
            server_.expireTokens();
        break;
    default:
        workFor(between(120, 2400), oneIn(4) ? 90 : 12);
    }
}

void World::useTheProgram() {
    touch();
    isCommanding_ = true;
    SessionManager& engine = core_->sessionManager;
    const double pressed = chance();
    if (engine.interruptedSession()) {
        const Session found = *engine.interruptedSession();
        const bool crossesDay = !found.intervals.empty() && companyDate(found.intervals.front().startedAt) !=
                                                                companyDate(platform_.timeline.date());
        // The rule for a session left open over midnight: it ends with its first day, which a change of zone
        // may move to before the crash.
        if (crossesDay && (diedRunningAt_ || changesZone_)) {
            const auto dayEnd =
                SegmentUtils::startOfDayAfter(found.intervals.front().startedAt, 1, companyZone());
            const double cut = dayEnd ? *dayEnd - truth_.start() : 0;
            const double died = diedRunningAt_.value_or(real()) - Truth::crashLoss;
            truth_.note(std::min(cut, died), real(), Truth::Second::allowed);
        }
        resolveGap(false);
        diedRunningAt_.reset();
        engine.resumeInterruptedSession();
    } else if (!engine.isTracking()) {
        if (pressed < 0.7) {
            platform_.permissions.screenRecording = true;
            ++happened_.starts;
            lastCountedInput_.reset();
            engine.startTracking(pressed < 0.4 ? std::optional(server_.config.projects.front())
                                               : std::nullopt);
        }
    } else if (engine.isPaused()) {
        if (pressed < 0.75) {
            if (companyDate(truth_.start() + (gap_ ? gap_->to : real()) + jumped_) ==
                companyDate(platform_.timeline.date()))
                resolveGap(true);
            engine.continueAfterIdle();
            if (engine.isPaused())
                engine.resumeTracking();
        } else {
            engine.stopTracking(oneIn(2) ? std::optional(QStringLiteral("idle")) : std::nullopt);
        }
    } else if (pressed < 0.08) {
        engine.pauseTracking();
    } else if (pressed < 0.14) {
        engine.stopTracking();
    }
    observe();
    platform_.desktop.forget(); // open questions are answered by the same buttons on the screen
    isCommanding_ = false;
}

void World::sleepMachine(Seconds span) {
    ++happened_.sleeps;
    isSleepy_ = true;
    platform_.power.willSleep();
    platform_.timeline.settle();
    observe();
    platform_.timeline.sleepMachine(span);
    slept_ += span;
    touch();       // somebody woke it
    if (!oneIn(5)) // the signal may get lost
        platform_.power.didWake();
    platform_.timeline.settle();
    observe();
    isSleepy_ = false;
    pass(3);
}

void World::changeSettings() {
    RemoteConfig& config = server_.config;
    const char* actions[] = {"ask", "pause", "stop", "whatever"};
    config.idleAction = QString::fromLatin1(actions[std::uniform_int_distribution<>(0, 3)(random_)]);
    config.idleMinutesThreshold = std::uniform_int_distribution<>(0, 12)(random_);
    config.screenshotIntervalMinutes = std::uniform_int_distribution<>(3, 20)(random_);
    if (!gap_)
        config.discardIdleTime = oneIn(2);
    if (changesZone_ && oneIn(3)) {
        ++happened_.zoneChanges;
        config.appTimezone = QString::fromLatin1(zones[std::uniform_int_distribution<>(0, 11)(random_)]);
    }
    if (oneIn(2)) {
        isCommanding_ = true;
        core_->apply(config);
        observe();
        isCommanding_ = false;
    }
}

void World::changeCompany() {
    if (core_->sessionManager.isTracking() || core_->sessionManager.interruptedSession())
        return;
    ++happened_.companyChanges;
    const bool isFirst = core_->domain.domainKey() == QStringLiteral("a.example");
    core_->domain.setBaseURL(QUrl(isFirst ? QStringLiteral("https://b.example/api/v1/")
                                          : QStringLiteral("https://a.example/api/v1/")));
    core_->sessionManager.recoverInterruptedSessionForCurrentDomain();
}

void World::jumpClock() {
    ++happened_.clockJumps;
    const double sizes[] = {1, 60, 3600, 90000};
    const double by =
        (oneIn(2) ? 1 : -1) * sizes[std::uniform_int_distribution<>(0, 3)(random_)] * between(0.5, 1);
    jumped_ += std::abs(by);
    platform_.timeline.jumpWallClock(by);
}

void World::startProcess() {
    jobsUntilDeath_ = -1;
    core_ = std::make_unique<TimeTrackerCore>(platform_.platform());
    seen_ = {};
    platform_.timeline.settle();
    observe();
}

void World::die() {
    ++happened_.deaths;
    if (seen_.isRunning()) {
        runningEnded();
        truth_.note(std::max(intervalBegan_ - Truth::tickSlack, real() - Truth::crashLoss),
                    real() + Truth::tickSlack, Truth::Second::allowed);
        diedRunningAt_ = real();
        if (options_.fault == PlantedFault::lostMark)
            TrackingHeartbeat::clear(seen_.session, platform_.preferences);
    }
    core_.reset();
    platform_.processDied();
    seen_ = {};
    lastCountedInput_.reset();
}

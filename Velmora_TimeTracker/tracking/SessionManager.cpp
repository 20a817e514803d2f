#include "tracking/SessionManager.h"

#include "capture/PermissionService.h"
#include "model/SegmentUtils.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/PreferenceStore.h"
#include "platform/Random.h"
#include "storage/APITimeZoneResolver.h"
#include "storage/DomainStorage.h"
#include "storage/PreferenceStores.h"
#include "storage/SQLiteStore.h"
#include "storage/TrackingHeartbeat.h"
#include "tracking/SessionArithmetic.h"
#include "tracking/SessionOperation.h"
#include "upload/UploadService.h"

#include <QPointer>
#include <algorithm>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

constexpr Seconds tickInterval = 1.0;
constexpr Seconds tickTolerance = 0.2;
constexpr int ticksPerSnapshot = 5;       ///< Running seconds between two looks at the counters.
constexpr int snapshotsPerAliveMark = 12; ///< So a last-alive mark every 60 running seconds.

} // namespace

SessionManager::SessionManager(const Dependencies& dependencies)
    : deps_(dependencies)
    , journal_(deps_.store, deps_.preferences, deps_.main)
    , screenRecordingPermissionLost_(
          deps_.preferences.boolean(PreferenceKey::screenRecordingPermissionLost).value_or(false))
    , runningClock_(deps_.clock) {
    journal_.setChanged([this] {
        const Operation operation(*this);
        if (isTracking_ && !isPaused_)
            markAlive(deps_.clock.now()); // the row has the open interval now
        if (!journal_.failure())
            refreshBesideServer(currentLocalTotal()); // the history may be readable again
        processQueue();
    });
    journal_.setSaved([this](const SessionStep& step) {
        if (step.report && step.session.status == SessionStatus::completed)
            deps_.uploads.enqueueScreenshotsForSession(step.session.id,
                                                       step.domainKey); // behind the report of the end
    });
    loadInterruptedSession();
    refreshTodayCompletedSeconds();
}

SessionManager::~SessionManager() {
    ticker_.reset();
    deps_.screenCapture.stop();
    deps_.idleDetector.stop();
    captureGate_->set(false);
}

// ---- The four operations

void SessionManager::startTracking(const std::optional<RemoteProject>& project) {
    if (isTracking_)
        return;
    const Operation operation(*this);
    if (!deps_.permissions.hasRequiredPermissions()) {
        lastStatusMessage_ = u"Required permissions are not granted."_s;
        return;
    }
    if (!deps_.permissions.hasScreenRecordingPermission()) {
        lastStatusMessage_ = u"Screen recording permission is required to start tracking."_s;
        setScreenRecordingPermissionLost(true);
        return;
    }
    completeStaleActiveSessions();

    const Date now = deps_.clock.now();
    Session session = newSession(project ? ProjectReference{project->id, project->name} : ProjectReference());
    session.intervals.push_back(newInterval(now));
    selectedProjectId_ = session.projectId;
    crossDayAutoCompletedProject_.reset();
    lastStatusMessage_.reset();
    currentSessionDomain_ = deps_.domain.domainKey();
    clearPauses();
    begin(session);
    enqueueStart();
    deps_.activityTracker.reset();
    if (deps_.activityTracker.start())
        configureAndStartIdleDetector();
    heartbeatTick_ = 0;
    startTicker();
    startScreenCaptureTimer();
    qCInfo(Log::session, "Tracking started, session %s, project %s", qPrintable(uuidText(session.id)),
           qPrintable(session.projectId));
}

void SessionManager::stopTracking(const std::optional<QString>& reason) {
    if (!currentSession_)
        return;
    const Operation operation(*this);
    const QString id = uuidText(currentSession_->id);
    endCurrentSession(EndReport::enqueued);
    if (reason)
        lastStatusMessage_ = u"Tracking stopped: "_s + *reason;
    qCInfo(Log::session, "Tracking stopped, session %s%s", qPrintable(id),
           reason ? qPrintable(u", reason: "_s + *reason) : "");
}

void SessionManager::pauseTracking() {
    if (!isTracking_ || isPaused_)
        return;
    const Operation operation(*this);
    const Date now = deps_.clock.now();
    closeCurrentInterval(now);
    deps_.screenCapture.stop();
    deps_.activityTracker.stop();
    isPaused_ = true;
    updateCaptureEligibility();
    save();
    qCInfo(Log::session, "Tracking paused");
}

void SessionManager::resumeTracking() {
    if (!isTracking_ || !isPaused_)
        return;
    const Operation operation(*this);
    const Date now = deps_.clock.now();
    maybePerformMidnightRolloverIfNeeded(now);
    if (!currentSession_)
        return;
    const bool beginsNow = currentSession_->intervals.empty();
    currentSession_->idleDiscardCutoffAt.reset();
    currentSession_->intervals.push_back(newInterval(now));
    clearPauses();
    deps_.screenCapture.stop();
    startScreenCaptureTimer();
    if (deps_.activityTracker.start())
        configureAndStartIdleDetector();
    else
        deps_.idleDetector.stop();
    startTicker();
    updateCaptureEligibility();
    if (beginsNow)
        enqueueStart();
    else
        save();
    markAlive(now);
    if (isReportDue_)
        reportRunning();
    qCInfo(Log::session, "Tracking resumed");
}

// ---- Forced stops

bool SessionManager::handleSessionTakenOver(const QUuid& sessionId) {
    if (!currentSession_ || currentSession_->id != sessionId)
        return false;
    const Operation operation(*this);
    endCurrentSession(EndReport::none);
    lastStatusMessage_ = u"Session was resumed on another device."_s;
    qCInfo(Log::session, "Session %s closed locally after backend takeover.", qPrintable(uuidText(sessionId)));
    return true;
}

void SessionManager::handleForceUpdateRequired() {
    if (!isTracking_)
        return;
    qCCritical(Log::session, "Force update required — stopping tracking");
    stopTracking(u"Update required"_s);
}

void SessionManager::handleScreenRecordingPermissionLost() {
    const Operation operation(*this);
    setScreenRecordingPermissionLost(true);
    lastStatusMessage_ = u"Screen recording permission was revoked."_s;
    stopTracking(u"screenRecordingRevoked"_s);
}

// ---- The screens' small commands

void SessionManager::selectProject(const QString& projectId) {
    const Operation operation(*this, selectedProjectId_ != projectId);
    selectedProjectId_ = projectId;
}

void SessionManager::dismissPermissionLost() {
    const Operation operation(*this);
    setScreenRecordingPermissionLost(false);
}

void SessionManager::dismissCrossDayBanner() {
    const Operation operation(*this);
    crossDayAutoCompletedProject_.reset();
}

// ---- Configuration

void SessionManager::applyConfig(const std::optional<RemoteConfig>& config) {
    const Operation operation(*this);
    config_ = config;
    if (config_)
        deps_.timeZones.store(deps_.timeZones.timezoneIdentifierForAPI(&*config_));
    if (config_ && !config_->projects.empty() && !selectedProjectId_.isEmpty() &&
        std::ranges::find(config_->projects, selectedProjectId_, &RemoteProject::id) == config_->projects.end())
        selectedProjectId_ = config_->projects.front().id;
    refreshTodayCompletedSeconds();
    if (config_ && config_->todayTotalSeconds && config_->todayDate)
        applyServerTodayTotal(ServerTodayTotal{*config_->todayTotalSeconds, *config_->todayDate});
}

QTimeZone SessionManager::engineTimeZone() const {
    const QString identifier =
        config_ ? config_->appTimezone.value_or(QString()).trimmed() : deps_.timeZones.storedTimezoneIdentifier();
    // An identifier that names no zone is asked for each time: the machine's own can change meanwhile.
    if (zone_.id() != identifier.toUtf8())
        zone_ = deps_.timeZones.resolvedTimeZone(identifier);
    return zone_;
}

std::optional<QString> SessionManager::notSavedMessage() const {
    const auto failure = journal_.failure();
    if (!failure)
        return std::nullopt;
    using enum SQLiteStore::Failure;
    const QString reason = *failure == diskFull      ? u"the disk is full"_s
                           : *failure == busy        ? u"another program holds the database"_s
                           : *failure == notWritable ? u"the program's folder cannot be written"_s
                                                     : u"the disk reports an error"_s;
    return u"Not saved: %1. Tracking goes on and is saved as soon as possible."_s.arg(reason);
}

// ---- The second's work

void SessionManager::startTicker() {
    liveMetricsTick_ = 0;
    ticker_ = deps_.main.every(tickInterval, tickInterval, tickTolerance, [this] { updateLiveMetrics(); });
}

void SessionManager::updateLiveMetrics() {
    const Operation operation(*this, false);
    const auto figures = [this] {
        return std::tuple(elapsedSeconds_, todayTotalSeconds_, mouseMoves_, keyboardEvents_, activityScore_);
    };
    const auto before = figures();
    const Date now = deps_.clock.now();
    cutAtClockStep(now);
    maybePerformMidnightRolloverIfNeeded(now);
    if (!currentSession_)
        return;
    if (!isPaused_)
        runningClock_.mark();
    elapsedSeconds_ = SessionArithmetic::sessionTotal(*currentSession_, now);
    recomputeTodayTotalSeconds();
    if (!isPaused_ && ++liveMetricsTick_ >= ticksPerSnapshot) {
        liveMetricsTick_ = 0;
        const ActivitySnapshot snapshot = deps_.activityTracker.snapshot(std::max(elapsedSeconds_, 1.0));
        mouseMoves_ = snapshot.mouseMoves;
        keyboardEvents_ = snapshot.keyboardEvents;
        activityScore_ = snapshot.activityScore;
        if (++heartbeatTick_ >= snapshotsPerAliveMark) {
            heartbeatTick_ = 0;
            markAlive(now);
        }
    }
    operation.note(before != figures());
}

SessionManager::SegmentTickInput SessionManager::segmentTickInput() {
    SegmentTickInput input;
    input.hadInput = deps_.activityTracker.consumeHadInputThisSecond();
    input.isTracked = isCaptureEligible();
    if (input.hadInput && input.isTracked)
        deps_.activityTracker.recordActiveSecondForSession();
    const auto delta = deps_.activityTracker.getAndResetMouseKeyboardDeltaThisSecond();
    input.mouseDelta = delta.mouse;
    input.keyboardDelta = delta.keyboard;
    return input;
}

// ---- Building blocks

/// Makes a session the running one. A pause, its idleness and an open question stay as they are.
void SessionManager::begin(const Session& session) {
    currentSession_ = session;
    isReportDue_ = false;
    setTracking(true);
    updateCaptureEligibility();
}

/// Finishes the running session and returns to Stopped.
void SessionManager::endCurrentSession(EndReport endReport) {
    const Date now = deps_.clock.now();
    const QUuid id = currentSession_->id;
    closeCurrentInterval(now);
    if (currentSession_->id != id)
        endReport = EndReport::enqueued; // a midnight that no tick has seen began this one
    archive(finished(*currentSession_, SessionArithmetic::lastStop(*currentSession_, now)), currentSessionDomain_,
            endReport);

    deps_.activityTracker.stop();
    deps_.idleDetector.stop();
    deps_.screenCapture.stop();
    ticker_.reset();
    heartbeatTick_ = 0;

    currentSession_.reset();
    clearPauses();
    elapsedSeconds_ = 0;
    mouseMoves_ = keyboardEvents_ = 0;
    activityScore_ = 0;
    recentActivity_.clear();
    setTracking(false);
    refreshTodayCompletedSeconds();
    updateCaptureEligibility();
}

/// The session as it is filed: idle time discarded as configured, the counters' figures in it, its total
/// frozen.
Session SessionManager::finished(Session session, Date asOf) const {
    applyIdleDiscardPolicyIfNeeded(session);
    copyCounts(session, asOf);
    SessionArithmetic::finish(session, asOf);
    return session;
}

/// Moves a finished session from the running ones to the history and queues the report of its end, in one step.
/// Without an interval it was never announced, and has no end to report.
void SessionManager::archive(const Session& session, const QString& domainKey, EndReport endReport) {
    if (endReport == EndReport::none || session.intervals.empty()) {
        journal_.write({session, std::nullopt, domainKey});
        return;
    }
    journal_.write({session, deps_.uploads.sessionEndTask(session), domainKey});
    processQueue();
}

/// Saves the running session and queues the report of its start, in one step.
void SessionManager::enqueueStart() {
    journal_.write({*currentSession_, deps_.uploads.sessionStartTask(*currentSession_), currentSessionDomain_});
    processQueue();
}

void SessionManager::processQueue() {
    spawn(deps_.uploads.processQueue(), "processQueue");
}

/// Where the interval ran into a midnight that no tick has seen, it closes in the session that begins there. Call it
/// before the capture, the counters or the ticker stop: that session starts them anew.
void SessionManager::closeCurrentInterval(Date now) {
    if (!currentSession_ || currentSession_->intervals.empty() || currentSession_->intervals.back().stoppedAt)
        return;
    const Date end = runningClock_.endOfRunning(now);
    maybePerformMidnightRolloverIfNeeded(end);
    currentSession_->intervals.back().stoppedAt = end;
    copyCounts(*currentSession_, now);
    markAlive(end); // should the row not take the end
    save();
}

/// Bills the open interval of the session's row up to `at`, should the program die. A row that is behind may have an
/// interval open that is closed by now: its mark stays as it is.
void SessionManager::markAlive(Date at) {
    if (!journal_.holds(currentSession_->id) || rowHasLastInterval())
        TrackingHeartbeat::record(currentSession_->id, at, deps_.preferences);
}

/// Whether the row of the running session, which may be behind, has the same last interval.
bool SessionManager::rowHasLastInterval() const {
    const std::vector<Session> rows = deps_.store.loadAllActiveSessions();
    const auto row = std::ranges::find(rows, currentSession_->id, &Session::id);
    return row != rows.end() && !row->intervals.empty() &&
           row->intervals.back().id == currentSession_->intervals.back().id;
}

void SessionManager::copyCounts(Session& session, Date asOf) const {
    const Seconds total = SessionArithmetic::sessionTotal(session, asOf);
    const ActivitySnapshot snapshot = deps_.activityTracker.snapshot(std::max(total, 1.0));
    session.mouseCount = snapshot.mouseMoves;
    session.keyboardCount = snapshot.keyboardEvents;
    session.activityScore = snapshot.activityScore;
}

void SessionManager::save() {
    journal_.write({*currentSession_, std::nullopt, currentSessionDomain_});
}

/// No pause of any kind; an open question goes with its text.
void SessionManager::clearPauses() {
    if (needsIdleDecision_)
        lastStatusMessage_.reset();
    isPaused_ = pausedDueToSystemSleep_ = false;
    isIdle_ = needsIdleDecision_ = idleAskPresentedForCurrentIdlePeriod_ = false;
}

void SessionManager::setTracking(bool isTracking) {
    if (isTracking_ == isTracking)
        return;
    isTracking_ = isTracking;
    Q_EMIT isTrackingChanged(isTracking);
}

void SessionManager::setScreenRecordingPermissionLost(bool lost) {
    if (screenRecordingPermissionLost_ == lost)
        return;
    screenRecordingPermissionLost_ = lost;
    deps_.preferences.set(PreferenceKey::screenRecordingPermissionLost, lost);
}

Session SessionManager::newSession(const ProjectReference& project) const {
    Session session;
    session.id = deps_.random.uuid();
    session.deviceId = DeviceIdProvider::current(deps_.preferences, deps_.random);
    session.projectId = project.id;
    session.projectName = project.name;
    return session;
}

TrackingInterval SessionManager::newInterval(Date startedAt) {
    runningClock_.mark();
    return TrackingInterval{deps_.random.uuid(), startedAt, std::nullopt};
}

QString SessionManager::dateText(Date date) const {
    return SegmentUtils::segmentDateAndNumber(date, engineTimeZone()).date;
}

Date SessionManager::startOfDay(Date date) const {
    return SegmentUtils::calendarDate(date, engineTimeZone()).value_or(date);
}

std::function<void()> SessionManager::later(void (SessionManager::*handle)()) {
    return [weak = QPointer(this), &main = deps_.main, handle] {
        main.post([weak, handle] {
            if (weak)
                (weak.data()->*handle)();
        });
    };
}

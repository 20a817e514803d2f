#include "capture/ScreenCaptureService.h"
#include "model/ISO8601.h"
#include "model/SegmentUtils.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "storage/DomainStorage.h"
#include "storage/SQLiteStore.h"
#include "storage/TrackingHeartbeat.h"
#include "tracking/SessionArithmetic.h"
#include "tracking/SessionOperation.h"
#include "upload/UploadService.h"

#include <ranges>

using namespace Qt::StringLiterals;

namespace {
QString readable(Date date, const QTimeZone& zone) {
    return ISO8601::text(date, zone);
}
} // namespace

// ---- Midnight

/// Cuts the session at midnight when it began on another day than `asOf`, also a later one.
bool SessionManager::maybePerformMidnightRolloverIfNeeded(Date asOf) {
    if (!isTracking_ || !currentSession_ || currentSession_->intervals.empty())
        return false;
    const TrackingInterval& last = currentSession_->intervals.back();
    const bool isSlewedBack = !last.stoppedAt && asOf < last.startedAt;
    if (isSlewedBack || dateText(currentSession_->intervals.front().startedAt) == dateText(asOf))
        return false;
    performMidnightRollover(asOf);
    return true;
}

/// What ran since midnight belongs to the new session, also where a change of the zone puts midnight hours back.
void SessionManager::performMidnightRollover(Date newDate) {
    const Operation operation(*this);
    const Session old = *currentSession_;
    std::vector<Session> days = SessionArithmetic::byDays(old, newDate, engineTimeZone());
    Session next = newSession({old.projectId, old.projectName});
    next.deviceId = old.deviceId;
    if (days.size() > 1 && dateText(days.back().intervals.front().startedAt) == dateText(newDate)) {
        next = days.back();
        days.pop_back();
    }
    days.front() = finished(days.front(), newDate);
    archiveDays(std::move(days), currentSessionDomain_);
    heartbeatTick_ = 0;
    serverTodayTotal_.reset();
    localTotalAtServerAnchor_ = 0;

    if (!isPaused_ && (next.intervals.empty() || next.intervals.back().stoppedAt))
        next.intervals.push_back(newInterval(newDate));
    selectedProjectId_ = next.projectId;
    begin(next);
    refreshTodayCompletedSeconds(); // of the new day, so the old session must not run any more
    qCInfo(Log::session, "Midnight rollover: session %s completed, new session %s started at %s, wasPaused: %s",
           qPrintable(uuidText(old.id)), qPrintable(uuidText(next.id)), qPrintable(readable(newDate, engineTimeZone())),
           isPaused_ ? "true" : "false");
    deps_.activityTracker.resetCounts();
    recentActivity_.clear();
    if (next.intervals.empty()) {
        save(); // announced with its first interval
    } else {
        enqueueStart();
        markAlive(newDate);
    }
    deps_.screenCapture.stop();
    if (!isPaused_) {
        configureAndStartIdleDetector(); // a pause by idleness goes on, and its end is still to be noticed
        startScreenCaptureTimer();
    }
    startTicker();
}

// ---- Sessions of an earlier run

void SessionManager::loadInterruptedSession() {
    if (!deps_.domain.hasCompany())
        return;
    interruptedSessionDomain_ = deps_.domain.domainKey();
    interruptedSession_ = deps_.store.loadActiveSession();
    if (interruptedSession_ && journal_.holds(interruptedSession_->id))
        interruptedSession_.reset(); // finished: the database does not know it yet
    if (!interruptedSession_)
        return;
    qCInfo(Log::session, "Recovered interrupted session %s", qPrintable(uuidText(interruptedSession_->id)));
    lastStatusMessage_ = u"An unfinished session was found."_s;
}

void SessionManager::recoverInterruptedSessionForCurrentDomain() {
    const Operation operation(*this);
    interruptedSession_.reset();
    lastStatusMessage_.reset();
    if (!isTracking_) // the row of a running session is not one left behind
        loadInterruptedSession();
    refreshTodayCompletedSeconds();
}

void SessionManager::resumeInterruptedSession() {
    if (!interruptedSession_)
        return;
    const Operation operation(*this);
    const Seconds localBefore = currentLocalTotal();
    const Date now = deps_.clock.now();
    Session session = *interruptedSession_;
    if (SessionArithmetic::isSessionCrossDay(session, now, engineTimeZone())) {
        finalizeInterruptedSessionIfCrossDay(now);
        interruptedSession_.reset();
        crossDayAutoCompletedProject_.reset();
        startTracking(RemoteProject{session.projectId, session.projectName});
        return;
    }
    qCInfo(Log::session, "Tracking resumed (interrupted session)");
    settleOpenInterval(session, now);
    applyIdleDiscardPolicyIfNeeded(session);
    session.intervals.push_back(newInterval(now));
    interruptedSession_.reset();
    crossDayAutoCompletedProject_.reset();
    currentSessionDomain_ = interruptedSessionDomain_;
    clearPauses();
    begin(session);
    refreshBesideServer(localBefore);
    enqueueStart();
    markAlive(now);
    deps_.activityTracker.reset({session.mouseCount, session.keyboardCount, session.activityScore},
                                SessionArithmetic::sessionTotal(session, now));
    deps_.activityTracker.start();
    configureAndStartIdleDetector();
    startTicker();
    startScreenCaptureTimer();
}

/// An interval that a crash left open is billed up to the last moment that proves that the program ran. The
/// mark itself stays until the session is saved and marked anew: a crash in between then settles it the same
/// way again.
void SessionManager::settleOpenInterval(Session& session, Date now) const {
    if (session.intervals.empty() || session.intervals.back().stoppedAt)
        return;
    TrackingInterval& open = session.intervals.back();
    const auto lastAlive = TrackingHeartbeat::load(session.id, deps_.preferences);
    if (lastAlive && *lastAlive < open.startedAt) {
        const QTimeZone zone = engineTimeZone();
        qCCritical(Log::session, "Stale heartbeat on recovery: %s < intervalStart %s; billing 0 for that interval",
                   qPrintable(readable(*lastAlive, zone)), qPrintable(readable(open.startedAt, zone)));
    }
    open.stoppedAt = SessionArithmetic::settledEnd(open.startedAt, lastAlive, now);
}

void SessionManager::finishInterruptedSession() {
    if (!interruptedSession_)
        return;
    const Operation operation(*this);
    lastStatusMessage_ = u"The unfinished session was ended at its last recorded moment."_s;
    discardInterruptedSession();
}

void SessionManager::discardInterruptedSession() {
    if (!interruptedSession_)
        return;
    const Operation operation(*this);
    const Date now = deps_.clock.now();
    if (SessionArithmetic::isSessionCrossDay(*interruptedSession_, now, engineTimeZone())) {
        finalizeInterruptedSessionIfCrossDay(now);
        lastStatusMessage_ = u"Previous session was ended because it crossed midnight."_s;
    } else {
        completeStaleActiveSessions();
    }
    interruptedSession_.reset();
}

/// Finishes the pending session of an earlier day.
void SessionManager::finalizeInterruptedSessionIfCrossDay(Date now) {
    if (!interruptedSession_ || !SessionArithmetic::isSessionCrossDay(*interruptedSession_, now, engineTimeZone()))
        return;
    const Session session = *interruptedSession_;
    complete(session, interruptedSessionDomain_, now);
    interruptedSession_.reset();
    crossDayAutoCompletedProject_ = ProjectReference{session.projectId, session.projectName};
    selectedProjectId_ = session.projectId;
    lastStatusMessage_ = u"Session auto-completed because it crossed midnight."_s;
}

/// Finishes every running row of the present company, so that none survives beside a new session.
void SessionManager::completeStaleActiveSessions() {
    if (!deps_.domain.hasCompany())
        return;
    const Seconds localBefore = currentLocalTotal();
    const Date now = deps_.clock.now();
    for (const Session& stale : deps_.store.loadAllActiveSessions()) {
        if (journal_.holds(stale.id))
            continue; // finished: the database does not know it yet
        complete(stale, deps_.domain.domainKey(), now);
        if (interruptedSession_ && interruptedSession_->id == stale.id)
            interruptedSession_.reset(); // finished: no longer to be resumed
    }
    refreshBesideServer(localBefore);
}

/// A session of an earlier run ends at its last mark of life, unless it was closed before. The stored counts stay: the
/// counters know nothing of it.
void SessionManager::complete(Session stale, const QString& domainKey, Date now) {
    settleOpenInterval(stale, now);
    applyIdleDiscardPolicyIfNeeded(stale);
    archiveDays(SessionArithmetic::byDays(stale, now, engineTimeZone()), domainKey);
    qCInfo(Log::session, "Completed stale active session %s", qPrintable(uuidText(stale.id)));
}

/// Finishes each day as a session of its own. The first, which has the stored row, is the last to be filed: a crash in
/// between finds that row again and repeats the same steps.
void SessionManager::archiveDays(std::vector<Session> days, const QString& domainKey) {
    for (Session& day : days | std::views::reverse) {
        applyIdleDiscardPolicyIfNeeded(day);
        SessionArithmetic::finish(day, deps_.clock.now());
        if (&day != &days.front())
            journal_.write({day, deps_.uploads.sessionStartTask(day), domainKey});
        archive(day, domainKey, EndReport::enqueued);
    }
}

// ---- The machine's life

void SessionManager::handleWillSleep() {
    if (!isTracking_ || isPaused_)
        return;
    const Operation operation(*this);
    closeCurrentInterval(deps_.clock.now());
    pausedDueToSystemSleep_ = true;
    deps_.screenCapture.stop();
    deps_.activityTracker.stop();
    ticker_.reset();
    isPaused_ = true;
    updateCaptureEligibility();
    save();
    qCInfo(Log::session, "Tracking paused due to system sleep");
}

void SessionManager::handleDidWake() {
    if (interruptedSession_)
        return;
    const Operation operation(*this, false);
    if (pausedDueToSystemSleep_ && isTracking_)
        resumeTracking();
    const Date now = deps_.clock.now();
    cutAtClockStep(now);
    maybePerformMidnightRolloverIfNeeded(now);
    if (isTracking_)
        return;
    operation.note(true);
    refreshTodayCompletedSeconds(); // the day may be another one
}

/// Goes on with a new interval where the wall clock was set or the machine slept unannounced.
void SessionManager::cutAtClockStep(Date now) {
    if (!isTracking_ || isPaused_ || runningClock_.endOfRunning(now) == now)
        return;
    const Operation operation(*this);
    qCInfo(Log::session, "The clock was set or the machine slept: the interval ends at %s",
           qPrintable(readable(runningClock_.endOfRunning(now), engineTimeZone())));
    closeCurrentInterval(now);
    if (maybePerformMidnightRolloverIfNeeded(now))
        return;
    currentSession_->intervals.push_back(newInterval(now));
    save();
    markAlive(now);
}

/// The row stays a running one: the next launch offers the session again, with a clean end.
void SessionManager::handleWillTerminate() {
    const Operation operation(*this);
    if (isTracking_ && !isPaused_) {
        closeCurrentInterval(deps_.clock.now());
        qCInfo(Log::session, "Tracking interval closed on app termination");
    }
    journal_.close(engineTimeZone());
}

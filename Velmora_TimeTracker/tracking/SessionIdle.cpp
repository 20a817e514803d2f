#include "platform/Clock.h"
#include "storage/SQLiteStore.h"
#include "tracking/IdlePolicy.h"
#include "tracking/SessionOperation.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace {
constexpr qint64 defaultIdleMinutes = 5;
}

void SessionManager::configureAndStartIdleDetector() {
    // A notice that was posted before the detector was started anew says nothing of the session as it is now.
    const auto notice = [this](void (SessionManager::*handle)()) {
        return [weak = QPointer(this), &main = deps_.main, handle](IdleDetector::Run run) {
            main.post([weak, handle, run] {
                if (weak && weak->deps_.idleDetector.isCurrent(run))
                    (weak.data()->*handle)();
            });
        };
    };
    deps_.idleDetector.onIdle = notice(&SessionManager::handleIdleDetected);
    deps_.idleDetector.onActive = notice(&SessionManager::handleIdleEnded);
    deps_.idleDetector.start(config_ ? config_->idleMinutesThreshold : defaultIdleMinutes);
}

void SessionManager::handleIdleDetected() {
    if (!isTracking_ || isPaused_)
        return;
    const Operation operation(*this);
    const Date now = deps_.clock.now();
    cutAtClockStep(now);
    maybePerformMidnightRolloverIfNeeded(now);
    idleAskPresentedForCurrentIdlePeriod_ = false;
    isIdle_ = true;
    const bool hasIntervals = currentSession_ && !currentSession_->intervals.empty();
    const Date began = hasIntervals ? currentSession_->intervals.back().startedAt : now;
    const Date latest = deps_.activityTracker.latestInputAt().value_or(began);
    applyIdleDiscardCutoff(latest > now ? began : latest); // later than now: the clock was set back since
    pauseTracking();
}

void SessionManager::handleIdleEnded() {
    if (!isTracking_ || (isPaused_ && !isIdle_))
        return;
    const IdlePolicy::Action action = IdlePolicy::action(config_ ? config_->idleAction : std::nullopt);
    if (action == IdlePolicy::Action::stop) {
        stopTracking(u"idle"_s);
        return;
    }
    const Operation operation(*this);
    if (!isPaused_)
        pauseAsIdle();
    if (action == IdlePolicy::Action::pause || idleAskPresentedForCurrentIdlePeriod_ || needsIdleDecision_)
        return;
    idleAskPresentedForCurrentIdlePeriod_ = true;
    needsIdleDecision_ = true;
    lastStatusMessage_ = u"You were idle. Continue tracking or stop the session."_s;
    if (onNeedsIdleDecision_)
        onNeedsIdleDecision_();
}

/// Input came back although the pause never happened.
void SessionManager::pauseAsIdle() {
    isIdle_ = true;
    pauseTracking();
}

void SessionManager::continueAfterIdle() {
    const Operation operation(*this, isIdle_);
    isIdle_ = false;
    resumeTracking();
}

/// On disk before the pause, so that it survives a crash.
void SessionManager::applyIdleDiscardCutoff(Date lastInput) {
    if (!currentSession_ || currentSession_->intervals.empty())
        return;
    currentSession_->idleDiscardCutoffAt = lastInput;
    save();
}

void SessionManager::applyIdleDiscardPolicyIfNeeded(Session& session) const {
    IdlePolicy::applyDiscard(session, !config_ || config_->discardIdleTime);
}

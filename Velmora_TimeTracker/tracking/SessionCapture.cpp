#include "platform/Clock.h"
#include "platform/Log.h"
#include "tracking/SessionArithmetic.h"
#include "tracking/SessionOperation.h"
#include "upload/UploadService.h"

#include <QPointer>
#include <algorithm>

namespace {

constexpr qint64 defaultScreenshotIntervalMinutes = 5;

const char* yesNo(bool value) {
    return value ? "true" : "false";
}

Task<> reportCapture(UploadService& uploads, Session session, QString domainKey) {
    const QUuid id = session.id;
    const bool accepted = co_await uploads.uploadHeartbeatNow(session, domainKey);
    if (!accepted) {
        qCInfo(Log::session, "Heartbeat failed, skipping screenshot upload");
        co_return;
    }
    uploads.enqueueScreenshotsForSession(id, domainKey);
    co_await uploads.processQueue();
}

} // namespace

void SessionManager::startScreenCaptureTimer() {
    if (!currentSession_)
        return;
    const qint64 interval = config_ ? config_->screenshotIntervalMinutes : defaultScreenshotIntervalMinutes;
    ScreenCaptureService::Callbacks callbacks;
    callbacks.shouldCapture = [gate = captureGate_] { return gate->isOpen(); };
    callbacks.onPermissionLost = later(&SessionManager::handleScreenRecordingPermissionLost);
    callbacks.onCaptureComplete = later(&SessionManager::handleCaptureComplete);
    callbacks.onCaptureFailed = later(&SessionManager::reportRunning);
    callbacks.onPicturesPruned = [weak = QPointer(this), &main = deps_.main](int pictures) {
        main.post([weak, pictures] {
            if (weak)
                weak->deps_.uploads.notePrunedPictures(pictures);
        });
    };
    updateCaptureEligibility(); // first, since a capture may be due at once
    deps_.screenCapture.start(currentSession_->id, currentSessionDomain_, std::max<qint64>(interval, 1),
                              std::move(callbacks));
}

void SessionManager::handleCaptureComplete() {
    const Operation operation(*this);
    qCInfo(Log::session, "handleCaptureComplete received");
    setScreenRecordingPermissionLost(false);
    reportRunning();
}

/// Sends a heartbeat, once for each interval of captures whether or not there is a picture. What a pause overtakes is made
/// up for when it ends.
void SessionManager::reportRunning() {
    const Operation operation(*this);
    isReportDue_ = currentSession_ && isPaused_;
    if (!currentSession_ || !isTracking_ || isPaused_) {
        qCInfo(Log::session, "handleCaptureComplete skipped: session=%s, tracking=%s, paused=%s",
               yesNo(currentSession_.has_value()), yesNo(isTracking_), yesNo(isPaused_));
        return;
    }
    const Date now = deps_.clock.now();
    cutAtClockStep(now);
    copyCounts(*currentSession_, now);
    save();
    qCInfo(Log::session, "Session updated: total=%llds, mouse=%lld, keyboard=%lld, score=%f",
           static_cast<long long>(SessionArithmetic::sessionTotal(*currentSession_, now)), currentSession_->mouseCount,
           currentSession_->keyboardCount, currentSession_->activityScore);
    if (journal_.holdsReport(currentSession_->id)) {
        qCInfo(Log::session, "Heartbeat skipped: the session's start is not saved yet");
        return;
    }
    qCInfo(Log::session, "Uploading heartbeat, then screenshots if success");
    spawn(reportCapture(deps_.uploads, *currentSession_, currentSessionDomain_), "reportCapture");
}

void SessionManager::updateCaptureEligibility() {
    captureGate_->set(isTracking_ && !isPaused_ && !isIdle_);
}

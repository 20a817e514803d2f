#include "upload/UploadService.h"

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/Random.h"
#include "server/LogRedactor.h"
#include "storage/APITimeZoneResolver.h"
#include "storage/CaptureFolder.h"
#include "storage/DomainStorage.h"
#include "upload/HeartbeatPayload.h"
#include "upload/NetworkMonitor.h"
#include "upload/RetryManager.h"
#include "upload/ScreenshotFiles.h"
#include "upload/SegmentBatch.h"
#include "upload/StartSessionPayload.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <algorithm>

using namespace UploadFailureAction;

namespace {

constexpr Seconds queuePeriod = 30;
constexpr int maxTasksPerRun = 20;
constexpr int maxRetries = 5;
constexpr Seconds hour = 3600;
constexpr int maxHourlyRetries = 30 * 24; // of the start and the end of a session
constexpr int staleAfterDays = 30;
constexpr Seconds offlineDelayMin = 60;
constexpr Seconds offlineDelayMax = 90;

constexpr int startSessionPriority = 110;
constexpr int heartbeatPriority = 100;
constexpr int activitySegmentPriority = 40;

/// True for the start or the end of a session: no other record contains the same data.
bool isSessionReport(const UploadTask& task) {
    return task.type == UploadTaskType::startSession || task.type == UploadTaskType::heartbeat;
}

/// Logs the content of a session that the server refuses, so that it can be entered manually.
void logUndelivered(const UploadTask& task) {
    if (isSessionReport(task))
        qCCritical(Log::upload, "Session %s: not delivered: %s", qUtf8Printable(uuidText(task.sessionId)),
                   qUtf8Printable(LogRedactor::redact(QString::fromUtf8(task.jsonPayload.value_or(QByteArray())))));
}

} // namespace

UploadService::UploadService(const Dependencies& dependencies)
    : deps_(dependencies) {}

Task<> UploadService::start() {
    return runOn(deps_.worker, [this] { return startOnWorker(); });
}

Task<> UploadService::startOnWorker() {
    removeUnattributableData();
    enqueueOrphanedScreenshots();
    spawn(runThenWait(), "UploadService queue");
    co_return;
}

Task<> UploadService::runThenWait() {
    co_await processQueueOnWorker();
    nextRun_ = deps_.worker.after(queuePeriod, [this] { spawn(runThenWait(), "UploadService queue"); });
}

void UploadService::removeUnattributableData() {
    const Date now = deps_.clock.now();
    const QDateTime cutoff = now.toDateTime(deps_.clock.systemTimeZone()).addDays(-staleAfterDays);
    const Date cutoffDate = cutoff.isValid() ? Date::fromDateTime(cutoff) : now;
    const int removed = deps_.store.cleanupUnattributableData(
        SegmentUtils::segmentDateAndNumber(cutoffDate, deps_.timeZones.storedTimeZone()).date);
    if (removed > 0)
        qCInfo(Log::upload,
               "Launch cleanup: removed %d unattributable row(s) (global-domain queue/segments, zero segments, "
               "stale foreign-domain segments)",
               removed);
}

void UploadService::enqueueOrphanedScreenshots() {
    const QString domainKey = deps_.domain.domainKey();
    const QString current = CaptureFolder::capturesDirectory(deps_.information, domainKey);
    const Date now = deps_.clock.now();
    const auto hasQueuedTask = [&](const QUuid& sessionId, const QString& path) {
        return deps_.store.hasScreenshotTask(sessionId, path, domainKey);
    };
    const QString base = CaptureFolder::capturesBaseDirectory(deps_.information);
    const QStringList companies =
        QDir(base).entryList(QDir::Dirs | QDir::Hidden | QDir::NoSymLinks | QDir::NoDotAndDotDot, QDir::NoSort);
    for (const QString& company : companies) {
        const QString directory = base + u'/' + company;
        // Old screenshots of other companies are deleted too; the others wait until their company is the current one.
        if (directory != current)
            ScreenshotFiles::orphanedScreenshotTasks(directory, now, deps_.random, hasQueuedTask);
    }
    const auto tasks = ScreenshotFiles::orphanedScreenshotTasks(current, now, deps_.random, hasQueuedTask);
    enqueueAll(tasks, domainKey);
    if (!tasks.empty())
        qCInfo(Log::upload, "Orphan sweeper: enqueued %zu stranded screenshot(s)", tasks.size());
}

Task<> UploadService::processQueue() {
    return runOn(deps_.worker, [this] { return processQueueOnWorker(); });
}

Task<> UploadService::processQueueOnWorker() {
    if (!deps_.network.isOnline())
        qCInfo(Log::upload, "processQueue: NetworkMonitor reports offline (advisory) — proceeding anyway");
    maybeEnqueuePendingActivitySegmentsUpload();
    if (isProcessing_) {
        qCInfo(Log::upload, "processQueue skipped: already processing");
        co_return;
    }
    if (!deps_.retry.canAttempt(deps_.clock.now())) {
        qCInfo(Log::upload, "processQueue skipped: circuit breaker open");
        co_return;
    }
    isProcessing_ = true;
    const auto runEnds = qScopeGuard([this] { isProcessing_ = false; });
    rescheduleFarFutureTasks();

    int handled = 0;
    while (handled < maxTasksPerRun && writeOutcomes() && deps_.retry.canAttempt(deps_.clock.now())) {
        const auto task = deps_.store.nextUploadTask(deps_.clock.now());
        if (!task || !deps_.store.updateUploadTaskStatus(task->id, UploadTaskStatus::inProgress))
            break;
        co_await runTask(*task, deps_.domain.domainKey());
        ++handled;
    }
    if (handled == 0)
        qCInfo(Log::upload, "processQueue: no tasks in queue");
    updateNotices(notices_);
}

void UploadService::scheduleRetry(const UploadTask& task, Date due, int retryCount) {
    latestDue_ = std::max(latestDue_, due);
    recordOutcome(
        [this, id = task.id, retryCount, due] { return deps_.store.markUploadTaskFailed(id, retryCount, due); });
}

void UploadService::finish(const UploadTask& task) {
    recordOutcome([this, id = task.id] { return deps_.store.markUploadTaskCompleted(id); });
}

void UploadService::recordOutcome(std::function<bool()> written) {
    unwrittenOutcomes_.push_back(std::move(written));
    writeOutcomes();
}

/// Writes the outcomes that the database has not taken yet. Nothing is sent until that succeeds, because a further
/// outcome could not be written either.
bool UploadService::writeOutcomes() {
    while (!unwrittenOutcomes_.empty() && unwrittenOutcomes_.front()())
        unwrittenOutcomes_.pop_front();
    return unwrittenOutcomes_.empty();
}

/// A retry time that was computed while the clock was ahead would delay a task for too long.
void UploadService::rescheduleFarFutureTasks() {
    static_assert(offlineDelayMax <= hour && RetryManager::longestDelay <= hour);
    const Date now = deps_.clock.now();
    const Date latest = now + hour;
    if (latestDue_ > latest)
        deps_.store.bringUploadTasksForward(now, latest);
    latestDue_ = std::min(latestDue_, latest);
}

Task<> UploadService::runTask(UploadTask task, QString domainKey) {
    std::exception_ptr failure;
    try {
        co_await send(task);
    } catch (const UploadServiceError&) {
        qCInfo(Log::upload, "Task %s file not found; dropping.", qUtf8Printable(uuidText(task.id)));
        finish(task);
        co_return;
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        handleFailure(task, domainKey, failure);
        co_return;
    }
    finish(task);
    deps_.retry.registerSuccess();
    if (task.type == UploadTaskType::startSession)
        refusedStarts_.remove(task.sessionId);
}

SessionStart UploadService::startOf(const QUuid& sessionId, const QString& domainKey) const {
    const auto starts = deps_.store.pendingUploadTaskIds(sessionId, {UploadTaskType::startSession}, domainKey);
    if (!starts || !starts->empty())
        return SessionStart::waiting;
    return refusedStarts_.contains(sessionId) ? SessionStart::refused : SessionStart::accepted;
}

void UploadService::handleFailure(const UploadTask& task, const QString& domainKey, const std::exception_ptr& failure) {
    const Action action =
        failureAction(failure, {task.type, startOf(task.sessionId, domainKey), deps_.retry.hasOpened()});
    if (const auto* takenOver = std::get_if<TakenOver>(&action)) {
        handleHeartbeatTakenOver(task.sessionId, domainKey, takenOver->statusCode);
        finish(task);
    } else if (const auto* permanent = std::get_if<DropPermanently>(&action)) {
        drop(task, permanent->deleteFile);
    } else if (const auto* retry = std::get_if<Retry>(&action)) {
        scheduleCountedRetry(task, retry->statusCode, failure);
    } else {
        scheduleUncountedRetry(task, std::get<RescheduleOffline>(action).statusCode, failure);
    }
}

void UploadService::drop(const UploadTask& task, bool deleteFile) {
    qCCritical(Log::upload, "Task %s type=%s permanent client error; dropping.", qUtf8Printable(uuidText(task.id)),
               qUtf8Printable(rawName(task.type)));
    logUndelivered(task);
    if (deleteFile && task.filePath)
        QFile::remove(*task.filePath);
    if (task.type == UploadTaskType::startSession)
        refusedStarts_.insert(task.sessionId);
    finish(task);
}

void UploadService::scheduleCountedRetry(const UploadTask& task, std::optional<int> statusCode,
                                         const std::exception_ptr& failure) {
    const qint64 attempt = qint64{task.retryCount} + 1;
    const QByteArray id = uuidText(task.id).toUtf8();
    qCCritical(Log::upload, "Task %s type=%s failed (attempt %lld): %s", id.constData(),
               qUtf8Printable(rawName(task.type)), attempt, qUtf8Printable(failureDescription(failure)));
    deps_.retry.registerFailure(statusCode);
    if (attempt > maxRetries + (isSessionReport(task) ? maxHourlyRetries : 0)) {
        qCCritical(Log::upload, "Task %s exceeded max retries, discarding.", id.constData());
        logUndelivered(task);
        finish(task);
        return;
    }
    const int retryCount = static_cast<int>(attempt);
    const bool isOnLadder = retryCount <= maxRetries;
    const Date now = deps_.clock.now();
    const Date due = isOnLadder ? deps_.retry.nextAttemptDate(retryCount) : now + hour;
    scheduleRetry(task, std::max(due, now + requestedDelay(failure, now)), retryCount);
    if (!isOnLadder) {
        UploadNotices notices = notices_;
        notices.unacceptedReason = failureDescription(failure);
        updateNotices(notices);
    }
}

void UploadService::scheduleUncountedRetry(const UploadTask& task, std::optional<int> statusCode,
                                           const std::exception_ptr& failure) {
    qCInfo(Log::upload, "Task %s offline transport error; rescheduling without retry penalty: %s",
           qUtf8Printable(uuidText(task.id)), qUtf8Printable(failureDescription(failure)));
    if (statusCode)
        deps_.retry.registerFailure(statusCode);
    const Date now = deps_.clock.now();
    const Seconds delay = deps_.random.uniform(offlineDelayMin, offlineDelayMax);
    scheduleRetry(task, now + std::max(delay, requestedDelay(failure, now)), task.retryCount);
}

void UploadService::notePrunedPictures(int pictures) {
    deps_.worker.post([this, pictures] {
        UploadNotices notices = notices_;
        notices.prunedPictures += pictures;
        updateNotices(notices);
    });
}

void UploadService::updateNotices(UploadNotices notices) {
    notices.unacceptedSessions = deps_.store.unacceptedSessions(heartbeatPriority, maxRetries);
    if (notices.unacceptedSessions == 0)
        notices.unacceptedReason.clear();
    if (notices == notices_)
        return;
    notices_ = notices;
    if (notifications_.noticesDidChange)
        notifications_.noticesDidChange(notices_);
}

std::optional<UploadTask> UploadService::sessionStartTask(const Session& session) {
    const auto body = StartSessionPayload::build(session, deps_.timeZones.storedTimeZone());
    if (!body) {
        qCInfo(Log::upload, "enqueueSessionStart: StartSessionPayload.build failed");
        return std::nullopt;
    }
    return newTask(UploadTaskType::startSession, startSessionPriority, session.id, body);
}

std::optional<UploadTask> UploadService::sessionEndTask(const Session& session) {
    const auto body =
        buildHeartbeatPayload(session, HeartbeatStatus::completed, deps_.clock.now(), deps_.timeZones.storedTimeZone());
    if (!body)
        return std::nullopt;
    return newTask(UploadTaskType::heartbeat, heartbeatPriority, session.id, body);
}

void UploadService::enqueueScreenshotsForSession(const QUuid& sessionId, const QString& domainKey) {
    deps_.worker.post([this, sessionId, domainKey] { enqueueNewScreenshots(sessionId, domainKey); });
}

void UploadService::enqueueNewScreenshots(const QUuid& sessionId, const QString& domainKey) {
    const QStringList files =
        ScreenshotFiles::forSession(sessionId, CaptureFolder::capturesDirectory(deps_.information, domainKey));
    qCInfo(Log::upload, "Enqueueing %lld screenshot(s) for session %s", static_cast<qint64>(files.size()),
           qUtf8Printable(uuidText(sessionId)));
    std::vector<UploadTask> tasks;
    for (const QString& file : files)
        if (!deps_.store.hasScreenshotTask(sessionId, file, domainKey))
            tasks.push_back(ScreenshotFiles::newTask(deps_.random.uuid(), sessionId, file, deps_.clock.now()));
    enqueueAll(tasks, domainKey);
}

void UploadService::enqueueAll(const std::vector<UploadTask>& tasks, const QString& domainKey) {
    if (tasks.empty())
        return;
    deps_.store.transaction([&] {
        return std::ranges::all_of(
            tasks, [&](const UploadTask& task) { return deps_.store.enqueueUploadTask(task, domainKey); });
    });
}

void UploadService::enqueueActivitySegmentsForUpload(const std::optional<SegmentUtils::DateAndNumber>& openSegment) {
    const auto payload = openSegment ? std::optional(SegmentBatch::openSegmentPayload(*openSegment)) : std::nullopt;
    const UploadTask task = newTask(UploadTaskType::activitySegment, activitySegmentPriority, QUuid(), payload);
    deps_.store.transaction(
        [&] { return deps_.store.hasActivitySegmentTask() || deps_.store.enqueueUploadTask(task); });
}

void UploadService::maybeEnqueuePendingActivitySegmentsUpload() {
    if (deps_.store.hasActivitySegmentTask())
        return;
    const SegmentUtils::DateAndNumber open = segmentOfNow();
    if (!deps_.store.pendingActivitySegmentsForUpload(open.date, open.number).empty())
        enqueueActivitySegmentsForUpload(open);
}

UploadTask UploadService::newTask(UploadTaskType type, int priority, const QUuid& sessionId,
                                  const std::optional<QByteArray>& jsonPayload) {
    return {.id = deps_.random.uuid(),
            .sessionId = sessionId,
            .type = type,
            .filePath = {},
            .jsonPayload = jsonPayload,
            .createdAt = deps_.clock.now(),
            .priority = priority};
}

SegmentUtils::DateAndNumber UploadService::segmentOfNow() const {
    return SegmentUtils::segmentDateAndNumber(deps_.clock.now(), deps_.timeZones.storedTimeZone());
}

#pragma once

#include "model/SegmentUtils.h"
#include "model/ServerTodayTotal.h"
#include "model/Session.h"
#include "model/UploadNotices.h"
#include "model/UploadTask.h"
#include "platform/Executor.h"
#include "platform/Task.h"
#include "storage/SQLiteStore.h"
#include "upload/FailureClassifier.h"

#include <QSet>
#include <QUuid>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

class APITimeZoneResolver;
class ApplicationInfo;
class Clock;
class DomainStorage;
class NetworkMonitor;
class PreferenceStore;
class Random;
class RetryManager;
class UploadTransport;
struct Endpoint;

/// Drains the persistent upload queue. Everything that the server must receive, but for the direct heartbeat,
/// is a row of the queue, and the row is the only record. The life of a task is that of its row:
///
///   enqueue ──▶ pending ──run──▶ inProgress ──▶ sent: row deleted
///                  ▲              ▲   │
///                  └─ next run ───┼───┤ the process died, or the database did not take the outcome
///                                 │   ├──▶ takeover, permanent error, file gone, sixth failure: row deleted,
///      failed ──run, when due ────┘   │    the reason logged
///        ▲                            │
///        └────────────────────────────┘ retry after 4 to 64 s; without a verdict after 60 to 90 s, uncounted
///
/// From its sixth failure on, the start or end of a session is tried hourly, 720 times, and then logged with its
/// content. So each row is delivered at least once, with the same id and body, or dropped for a logged reason. Rows
/// wait under their company's domain key until that company is the current one, and behind the start of their
/// session until the server has accepted or refused it.
///
/// A serial worker: state lives on the worker executor; the operations may be called from any executor and
/// return or resume there. Nothing fails outwards. Destroy it when the worker runs no more jobs, or on the
/// worker itself with no operation under way.
class UploadService {
public:
    struct Dependencies {
        UploadTransport& transport;
        RetryManager& retry;
        NetworkMonitor& network;
        SQLiteStore& store;
        const DomainStorage& domain;
        PreferenceStore& preferences;
        const APITimeZoneResolver& timeZones;
        const ApplicationInfo& information;
        Clock& clock;
        Random& random;
        Executor& worker;
    };
    /// Called on the worker executor.
    struct Notifications {
        /// "com.velmora.timetracker.serverTodayTotalDidUpdate" `domainKey` is the company of the request; it may no
        /// longer be the current one.
        std::function<void(ServerTodayTotal, QString domainKey)> serverTodayTotalDidUpdate;
        /// "com.velmora.timetracker.sessionTakenOverByOtherDevice": once for each such reply. The session may be an
        /// earlier one.
        std::function<void(QUuid sessionId, int statusCode)> sessionTakenOverByOtherDevice;
        /// Called after each change.
        std::function<void(UploadNotices)> noticesDidChange;
    };

    explicit UploadService(const Dependencies& dependencies);

    /// Set once, before `start`.
    void setNotifications(Notifications notifications) { notifications_ = std::move(notifications); }

    /// Called once at boot: resets stale rows, cleans up, queues screenshots without a task, then runs now and every
    /// 30 seconds.
    Task<> start();

    /// One run: at most 20 due tasks, highest priority first. Resumes when the run has ended.
    Task<> processQueue();

    // The rows that report a session's start and end, for the caller to write in the transaction of the step that
    // they report. Absent for a session whose dates or figures cannot be written. Any thread.
    std::optional<UploadTask> sessionStartTask(const Session& session);
    std::optional<UploadTask> sessionEndTask(const Session& session);

    /// Adds a row for each of the session's pictures that has none, on the worker. `domainKey` is the session's own.
    /// Any thread. Files without a row are found at the next launch.
    void enqueueScreenshotsForSession(const QUuid& sessionId, const QString& domainKey);
    /// Adds to the number of screenshots that were deleted unsent. Any thread.
    void notePrunedPictures(int pictures);
    /// Adds the row that sends the closed segments, unless there is one; it is on disk when the call returns. Any thread.
    void enqueueActivitySegmentsForUpload(const std::optional<SegmentUtils::DateAndNumber>& openSegment);

    /// The direct heartbeat with status "active", outside the queue; true when the server accepted it. Sends nothing
    /// while the session's start waits in the queue, or when `domainKey`, the session's own, is not the current one.
    Task<bool> uploadHeartbeatNow(Session session, QString domainKey);

private:
    Task<> startOnWorker();
    Task<> runThenWait();
    Task<> processQueueOnWorker();
    Task<> runTask(UploadTask task, QString domainKey);
    Task<> send(UploadTask task);
    void handleFailure(const UploadTask& task, const QString& domainKey, const std::exception_ptr& failure);
    SessionStart startOf(const QUuid& sessionId, const QString& domainKey) const;
    void drop(const UploadTask& task, bool deleteFile);
    void scheduleCountedRetry(const UploadTask& task, std::optional<int> statusCode, const std::exception_ptr& failure);
    void scheduleUncountedRetry(const UploadTask& task, std::optional<int> statusCode,
                                const std::exception_ptr& failure);
    void updateNotices(UploadNotices notices);
    void maybeEnqueuePendingActivitySegmentsUpload();
    void scheduleRetry(const UploadTask& task, Date due, int retryCount);
    void finish(const UploadTask& task);
    void recordOutcome(std::function<bool()> written);
    bool writeOutcomes();
    void rescheduleFarFutureTasks();
    void removeUnattributableData();
    void enqueueOrphanedScreenshots();
    void handleHeartbeatTakenOver(const QUuid& sessionId, const QString& domainKey, int statusCode);
    void postServerTodayTotalIfPresent(const QByteArray& responseData, const QString& domainKey, const char* source);

    // Senders; each throws APIError, URLError or UploadServiceError.
    Task<> sendPayload(UploadTask task, Endpoint endpoint, const char* source);
    Task<> uploadStartSession(UploadTask task);
    Task<> uploadActivitySegments(UploadTask task);
    Task<> uploadScreenshot(UploadTask task);
    Task<bool> uploadHeartbeatNowOnWorker(Session session, QString domainKey);
    /// POSTs a JSON body, reports the today total of the reply with `source`, and returns the reply's bytes.
    Task<QByteArray> postJSON(Endpoint endpoint, QByteArray body, const char* source);

    UploadTask newTask(UploadTaskType type, int priority, const QUuid& sessionId,
                       const std::optional<QByteArray>& jsonPayload);
    void enqueueNewScreenshots(const QUuid& sessionId, const QString& domainKey);
    void enqueueAll(const std::vector<UploadTask>& tasks, const QString& domainKey);
    SegmentUtils::DateAndNumber segmentOfNow() const;

    const Dependencies deps_;
    Notifications notifications_;
    std::unique_ptr<Executor::Timer> nextRun_; ///< The timer of the next run.
    /// Upper bound of all retry times; infinite until the first run.
    Date latestDue_{std::numeric_limits<double>::infinity()};
    bool isProcessing_ = false;
    /// Outcomes that the database has not taken yet. The first resets rows that an earlier launch was sending.
    std::deque<std::function<bool()>> unwrittenOutcomes_{[this] { return deps_.store.resetStaleInProgressTasks(); }};
    UploadNotices notices_;
    /// Sessions whose start the server refused since the launch, and of which it has accepted no heartbeat since.
    QSet<QUuid> refusedStarts_;
};

#pragma once

#include "model/Session.h"
#include "model/UploadTask.h"

#include <QHash>
#include <QString>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

class Clock;
class DomainStorage;
class Statement;
struct sqlite3;

/// The local database: running sessions, finished sessions, the upload queue and the 10-minute segments, partitioned
/// by domain key (company).
///
/// Every operation may be called from any thread, runs under the lock `queue` and blocks until done. A failed read
/// returns no rows; a failed write returns false where the caller can act on it. The first of a statement's
/// consecutive failures is logged. Operations are scoped to the current company's domain key, read anew in each,
/// unless a key is given.
///
/// While the file cannot be opened, every operation fails and opening is retried at most once a second.
class SQLiteStore {
public:
    /// Why a transaction was not written.
    enum class Failure {
        diskFull,
        busy,        ///< Another process has locked the file.
        notWritable, ///< The file or its folder cannot be opened or written.
        other,       ///< I/O error, or the file is corrupt.
    };
    struct ActivitySegmentRow {
        QString segmentDate; ///< "yyyy-MM-dd" in `timezone`
        int segmentNumber = 0;
        int activeSeconds = 0;
        int nonIdleSeconds = 0;
        int mouseMovements = 0;
        int keyboardMovements = 0;
        QString timezone = {}; ///< IANA identifier of the zone of the segment; empty if an earlier version wrote it.

        friend bool operator==(const ActivitySegmentRow&, const ActivitySegmentRow&) = default;
    };
    struct SessionSummaryRow {
        QString projectName;
        Seconds totalSeconds = 0;
        double activityScore = 0;
        Date startedAt;
        QUuid id; ///< The session's id.

        friend bool operator==(const SessionSummaryRow&, const SessionSummaryRow&) = default;
    };
    struct SegmentActivitySummary {
        double activityRateWeightedSum = 0;
        double nonIdlePercentSum = 0;
    };

    /// Opens or creates "timetracker.sqlite" in `folder` and brings its schema up to date. A file that is no database,
    /// or proves corrupt later, is renamed to a dated name and replaced by a new one.
    SQLiteStore(const QString& folder, const DomainStorage& domain, Clock& clock);
    ~SQLiteStore();
    SQLiteStore(const SQLiteStore&) = delete;
    SQLiteStore& operator=(const SQLiteStore&) = delete;

    /// Writes everything that `steps` writes through this store, or nothing. `steps` returns whether all of it
    /// succeeded. An error of the final commit may leave the writes in place: a repeated transaction uses
    /// the same ids.
    std::optional<Failure> transaction(const std::function<bool()>& steps);

    // Running and finished sessions. An absent domain key is the current company's.
    bool saveActiveSession(const Session& session, const std::optional<QString>& domainKey = std::nullopt);
    /// Newest snapshot first; undecodable rows are skipped.
    std::vector<Session> loadAllActiveSessions();
    std::optional<Session> loadActiveSession();
    /// An absent id clears every snapshot of the domain.
    bool clearActiveSession(const std::optional<QUuid>& id, const std::optional<QString>& domainKey = std::nullopt);
    /// A session that is already in the history is not changed.
    bool appendSessionHistory(const Session& session, const std::optional<QString>& domainKey = std::nullopt);
    /// Sessions that began in [from, to), oldest first; none if the database cannot be read.
    std::vector<SessionSummaryRow> sessionHistory(Date from, Date to);

    // Upload queue.
    bool enqueueUploadTask(const UploadTask& task, const std::optional<QString>& domainKey = std::nullopt);
    /// The one due task: highest priority, then oldest. A session's rows wait until its start has left the queue. Rows
    /// that cannot be read, or whose id is no UUID, are marked as unreadable and logged.
    std::optional<UploadTask> nextUploadTask(Date now);
    // Outcomes of tasks of any domain.
    bool updateUploadTaskStatus(const QUuid& id, UploadTaskStatus status);
    bool markUploadTaskFailed(const QUuid& id, int retryCount, Date nextAttemptAt);
    /// Deletes the row of a completed task.
    bool markUploadTaskCompleted(const QUuid& id);
    /// Makes tasks due at `now` whose retry time is later than `latest`. All domains.
    void bringUploadTasksForward(Date now, Date latest);
    /// All domains.
    bool resetStaleInProgressTasks();
    bool hasScreenshotTask(const QUuid& sessionId, const QString& filePath, const QString& domainKey);
    bool hasActivitySegmentTask();
    /// Absent if the database cannot be read, since there may be some.
    std::optional<std::vector<QUuid>>
    pendingUploadTaskIds(const QUuid& sessionId, const std::vector<UploadTaskType>& types, const QString& domainKey);

    /// The number of sessions with a row of at least this priority that failed more than `retryCount` times.
    int unacceptedSessions(int priority, int retryCount);

    // Activity segments.
    /// Adds to the counters of the segment, up to 600 seconds and 2³¹ - 1 events, and marks it as unsent. False if it
    /// could not be written.
    bool upsertActivitySegment(const ActivitySegmentRow& row, const std::optional<QString>& domainKey = std::nullopt);
    /// Unsent, not all zero, strictly before the open segment; in order.
    std::vector<ActivitySegmentRow> pendingActivitySegmentsForUpload(const QString& currentSegmentDate,
                                                                     int currentSegmentNumber);
    /// Marks the given segments as sent whose counters have not changed; a segment that has grown is sent again.
    bool markActivitySegmentsUploaded(const std::vector<ActivitySegmentRow>& rows, const QString& domainKey);
    /// Over the days [from, to), named in the machine's calendar.
    SegmentActivitySummary segmentActivitySummary(Date from, Date to);

    /// Moves rows from `formerKey` to `domainKey` and replaces the prefix `formerFolder` of file paths by `folder`. If
    /// both keys have a segment, that of `domainKey` is kept.
    void adoptRows(const QString& formerKey, const QString& domainKey, const QString& formerFolder,
                   const QString& folder);
    /// Removes rows of no company, all-zero segments, and unsent segments of other companies before the cutoff
    /// ("yyyy-MM-dd"). Returns the number of deleted rows.
    int cleanupUnattributableData(const QString& staleCutoffDate,
                                  const std::optional<QString>& currentDomain = std::nullopt);

private:
    // All of these are called under the lock; codes are SQLite result codes.
    /// Opens the file if it is not open, at most once a second, and completes a schema that a full disk interrupted.
    void openIfNeeded();
    void openOrReplace();
    /// Opens the file without changing it. Returns the result code; unless it is SQLITE_OK, no handle remains and
    /// opening is retried.
    int connect();
    /// Opens, migrates and checks the file. Returns the first error code that shows that it is unusable.
    int open();
    void close();
    int migrateIfNeeded();
    int execute(const char* sql);
    /// Rolls back the open transaction, if any.
    void rollBack();
    /// Rebuilds the indices.
    int reindex();
    /// Renames the current file and opens an empty one.
    void beginNewDatabase(int code);
    /// Logs the first of consecutive failures of a statement and its next success; repairs or replaces a corrupt file.
    void noteOutcome(const char* sql, int code);

    /// `row` is the row's number.
    bool setUploadRowAside(const QString& row);

    /// Takes the lock and calls `use` with the prepared statement, unless preparing fails. True if nothing failed.
    bool withStatement(const char* sql, const std::function<void(Statement&)>& use);

    const QString dbURL_;
    sqlite3* db_ = nullptr;
    bool hasSchema_ = false;                                  ///< True if all tables, columns and indices exist.
    QHash<QByteArray, int> failures_;                         ///< Consecutive failures per SQL statement.
    int lastFailure_ = 0;                                     ///< Result code of the last failed statement.
    std::optional<std::chrono::nanoseconds> lastOpenAttempt_; ///< Uptime of the last attempt to open.
    /// "com.velmora.timetracker.sqlite": guards the members from db_ on. Recursive, since the steps of a transaction
    /// are store operations that lock too.
    std::recursive_mutex queue_;
    const DomainStorage& domain_;
    Clock& clock_;
};

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

/// The local database: running sessions, finished sessions, the upload queue and the 10-minute segments,
/// partitioned by domain key (company).
///
/// Every operation may be called from any thread, runs under the lock `queue` and blocks until done. A failed
/// read looks like no rows; a failed write returns false where a caller can act on it, and is lost otherwise.
/// The first of a statement's consecutive failures is logged. Operations are scoped to the current company's
/// domain key, computed afresh in each, unless told otherwise.
///
/// While the file cannot be opened, every operation fails, and opening is tried again once a second.
class SQLiteStore {
public:
    /// Why a transaction was not written.
    enum class Failure {
        diskFull,
        busy,        ///< Another process holds the file.
        notWritable, ///< The file or its folder cannot be opened or written.
        other,       ///< The disk reports errors, or the file is damaged.
    };
    struct ActivitySegmentRow {
        QString segmentDate; ///< "yyyy-MM-dd" in `timezone`
        int segmentNumber = 0;
        int activeSeconds = 0;
        int nonIdleSeconds = 0;
        int mouseMovements = 0;
        int keyboardMovements = 0;
        QString timezone =
            {}; ///< IANA identifier of the zone that named the slot; empty when an earlier version wrote it.

        friend bool operator==(const ActivitySegmentRow&, const ActivitySegmentRow&) = default;
    };
    struct SessionSummaryRow {
        QString projectName;
        Seconds totalSeconds = 0;
        double activityScore = 0;
        Date startedAt;
        QUuid id; ///< Of the session.

        friend bool operator==(const SessionSummaryRow&, const SessionSummaryRow&) = default;
    };
    struct SegmentActivitySummary {
        double activityRateWeightedSum = 0;
        double nonIdlePercentSum = 0;
    };

    /// Opens or creates "timetracker.sqlite" in `folder` and brings its schema up to date. A file that is no
    /// database is set aside under a dated name and a new one begun; so is one whose damage shows later.
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
    /// A session that history holds already is left as it is.
    bool appendSessionHistory(const Session& session, const std::optional<QString>& domainKey = std::nullopt);
    /// Sessions that began in [from, to), oldest first; none when the database cannot be read.
    std::vector<SessionSummaryRow> sessionHistory(Date from, Date to);

    // Upload queue.
    bool enqueueUploadTask(const UploadTask& task, const std::optional<QString>& domainKey = std::nullopt);
    /// The one due task: highest priority, then oldest. A session's rows wait until its start has left the queue.
    /// Rows that cannot be read, or whose id is no UUID, are set aside with a log line.
    std::optional<UploadTask> nextUploadTask(Date now);
    // What becomes of a task, whichever domain it belongs to.
    bool updateUploadTaskStatus(const QUuid& id, UploadTaskStatus status);
    bool markUploadTaskFailed(const QUuid& id, int retryCount, Date nextAttemptAt);
    /// A completed task has no row.
    bool markUploadTaskCompleted(const QUuid& id);
    /// Makes due at `now` what only later than `latest` would be. All domains.
    void bringUploadTasksForward(Date now, Date latest);
    /// All domains.
    bool resetStaleInProgressTasks();
    bool hasScreenshotTask(const QUuid& sessionId, const QString& filePath, const QString& domainKey);
    bool hasActivitySegmentTask();
    /// Absent when the database cannot be read: there may be some.
    std::optional<std::vector<QUuid>>
    pendingUploadTaskIds(const QUuid& sessionId, const std::vector<UploadTaskType>& types, const QString& domainKey);

    /// How many sessions have a row of at least this priority that failed more often than `retryCount` times.
    int unacceptedSessions(int priority, int retryCount);

    // Activity segments.
    /// Adds to the counters of the slot, up to 600 seconds and 2³¹ - 1 events, and marks it as unsent. False when the
    /// database did not take it.
    bool upsertActivitySegment(const ActivitySegmentRow& row, const std::optional<QString>& domainKey = std::nullopt);
    /// Unsent, not all zero, strictly before the open segment; in order.
    std::vector<ActivitySegmentRow> pendingActivitySegmentsForUpload(const QString& currentSegmentDate,
                                                                     int currentSegmentNumber);
    /// Those whose counters still are as given: a slot that has grown since is to be sent again.
    bool markActivitySegmentsUploaded(const std::vector<ActivitySegmentRow>& rows, const QString& domainKey);
    /// Over the days [from, to), named in the machine's calendar.
    SegmentActivitySummary segmentActivitySummary(Date from, Date to);

    /// Gives rows stored under `formerKey` to `domainKey`; file paths that begin with `formerFolder` begin with
    /// `folder` from then on. A slot that both keys have counted stays as `domainKey` has it.
    void adoptRows(const QString& formerKey, const QString& domainKey, const QString& formerFolder,
                   const QString& folder);
    /// Removes rows of no company, all-zero segments, and unsent segments of other companies before the
    /// cutoff ("yyyy-MM-dd"). Returns how many rows went.
    int cleanupUnattributableData(const QString& staleCutoffDate,
                                  const std::optional<QString>& currentDomain = std::nullopt);

private:
    // All of these under the lock; codes are the library's.
    /// Opens a file that is not open, at most once a second, and completes a schema that a full disk cut short.
    void openIfNeeded();
    void openOrReplace();
    /// Opens the file as it is. The library's code; without SQLITE_OK no handle is left, and opening is tried again.
    int connect();
    /// Opens, migrates and checks the file. The first code that tells that it cannot serve.
    int open();
    void close();
    int migrateIfNeeded();
    int execute(const char* sql);
    /// Undoes the transaction under way, if there is one.
    void rollBack();
    /// Writes the indices anew.
    int reindex();
    /// Sets the present file aside and opens an empty one.
    void beginNewDatabase(int code);
    /// Logs the first of a statement's failures in a row, and the end of the row; mends or replaces a damaged
    /// file.
    void noteOutcome(const char* sql, int code);

    /// `row` is the row's number.
    bool setUploadRowAside(const QString& row);

    /// Takes the lock and hands `use` the prepared statement; skips it when it cannot be prepared. True when
    /// nothing failed.
    bool withStatement(const char* sql, const std::function<void(Statement&)>& use);

    const QString dbURL_;
    sqlite3* db_ = nullptr;
    bool hasSchema_ = false;                                  ///< All tables, columns and indices are there.
    QHash<QByteArray, int> failures_;                         ///< Consecutive failures per SQL statement.
    int lastFailure_ = 0;                                     ///< The library's code of the last failed statement.
    std::optional<std::chrono::nanoseconds> lastOpenAttempt_; ///< Uptime of the last attempt to open.
    /// "com.velmora.timetracker.sqlite": guards the members from db_ on. Recursive, since the steps of a
    /// transaction are operations of their own.
    std::recursive_mutex queue_;
    const DomainStorage& domain_;
    Clock& clock_;
};

#pragma once

/// The SQL statements of the store.
namespace Sql {

inline constexpr const char* journalMode = "PRAGMA journal_mode=WAL;";
inline constexpr const char* foreignKeys = "PRAGMA foreign_keys=ON;";
inline constexpr const char* begin = "BEGIN IMMEDIATE;";
inline constexpr const char* commit = "COMMIT;";
inline constexpr const char* rollback = "ROLLBACK;";

// Schema. The existing columns show the version of a file.

inline constexpr const char* tables[] = {
    R"(CREATE TABLE IF NOT EXISTS sessions (
  id TEXT PRIMARY KEY,
  domain_key TEXT NOT NULL DEFAULT 'global',
  device_id TEXT NOT NULL,
  project_id TEXT NOT NULL,
  project_name TEXT NOT NULL,
  payload BLOB NOT NULL,
  updated_at REAL NOT NULL
);)",
    R"(CREATE TABLE IF NOT EXISTS session_history (
  id TEXT PRIMARY KEY,
  domain_key TEXT NOT NULL DEFAULT 'global',
  device_id TEXT NOT NULL,
  project_id TEXT NOT NULL,
  project_name TEXT NOT NULL,
  payload BLOB NOT NULL,
  started_at REAL NOT NULL,
  stopped_at REAL NOT NULL
);)",
    R"(CREATE TABLE IF NOT EXISTS upload_queue (
  id TEXT PRIMARY KEY,
  domain_key TEXT NOT NULL DEFAULT 'global',
  session_id TEXT NOT NULL,
  type TEXT NOT NULL,
  file_path TEXT,
  json_payload BLOB,
  retry_count INTEGER NOT NULL DEFAULT 0,
  created_at REAL NOT NULL,
  status TEXT NOT NULL,
  priority INTEGER NOT NULL,
  next_attempt_at REAL NOT NULL DEFAULT 0
);)",
    R"(CREATE TABLE IF NOT EXISTS activity_segments (
  domain_key TEXT NOT NULL,
  segment_date TEXT NOT NULL,
  segment_number INTEGER NOT NULL,
  active_seconds INTEGER NOT NULL DEFAULT 0,
  non_idle_seconds INTEGER NOT NULL DEFAULT 0,
  mouse_movements INTEGER NOT NULL DEFAULT 0,
  keyboard_movements INTEGER NOT NULL DEFAULT 0,
  uploaded_at REAL,
  timezone TEXT NOT NULL DEFAULT '',
  PRIMARY KEY (domain_key, segment_date, segment_number)
);)",
};

struct ColumnMigration {
    const char* table;
    const char* column;
    const char* alter;
};

inline constexpr ColumnMigration columnMigrations[] = {
    {"sessions", "domain_key", "ALTER TABLE sessions ADD COLUMN domain_key TEXT NOT NULL DEFAULT 'global';"},
    {"session_history", "domain_key",
     "ALTER TABLE session_history ADD COLUMN domain_key TEXT NOT NULL DEFAULT 'global';"},
    {"upload_queue", "domain_key", "ALTER TABLE upload_queue ADD COLUMN domain_key TEXT NOT NULL DEFAULT 'global';"},
    {"upload_queue", "next_attempt_at", "ALTER TABLE upload_queue ADD COLUMN next_attempt_at REAL NOT NULL DEFAULT 0;"},
    {"activity_segments", "timezone", "ALTER TABLE activity_segments ADD COLUMN timezone TEXT NOT NULL DEFAULT '';"},
};

inline constexpr const char* indices[] = {
    R"(CREATE INDEX IF NOT EXISTS idx_upload_queue_lookup
  ON upload_queue(domain_key, status, next_attempt_at);)",
    R"(CREATE INDEX IF NOT EXISTS idx_activity_segments_pending
  ON activity_segments(domain_key, uploaded_at, segment_date, segment_number);)",
    R"(CREATE INDEX IF NOT EXISTS idx_sessions_domain
  ON sessions(domain_key, updated_at);)",
    R"(CREATE INDEX IF NOT EXISTS idx_session_history_domain
  ON session_history(domain_key, started_at);)",
    // Sorted in the order of execution. Without it, finding the next task reads every due row: 23 ms for 100,000.
    R"(CREATE INDEX IF NOT EXISTS idx_upload_queue_order
  ON upload_queue(domain_key, priority DESC, created_at);)",
    // Finds the rows of one session: each candidate for the next task looks up its session's start.
    R"(CREATE INDEX IF NOT EXISTS idx_upload_queue_session
  ON upload_queue(domain_key, session_id, type);)",
};

// Running and finished sessions.

inline constexpr const char* saveActiveSession =
    "INSERT OR REPLACE INTO sessions (id, domain_key, device_id, project_id, project_name, payload, "
    "updated_at)\n"
    "VALUES (?, ?, ?, ?, ?, ?, ?);";
/// A session in the history is finished: a running row of it is a leftover that could not be deleted.
inline constexpr const char* loadAllActiveSessions =
    R"(SELECT payload FROM sessions
WHERE domain_key = ? AND id NOT IN (SELECT id FROM session_history)
ORDER BY updated_at DESC;)";
inline constexpr const char* clearActiveSession = "DELETE FROM sessions WHERE domain_key = ? AND id = ?;";
inline constexpr const char* clearActiveSessions = "DELETE FROM sessions WHERE domain_key = ?;";
inline constexpr const char* appendSessionHistory =
    "INSERT INTO session_history (id, domain_key, device_id, project_id, project_name, "
    "payload, started_at, stopped_at)\n"
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?)\n"
    "ON CONFLICT(id) DO NOTHING;";
inline constexpr const char* sessionHistory =
    R"(SELECT payload FROM session_history
WHERE domain_key = ? AND started_at >= ? AND started_at < ?
ORDER BY started_at ASC;)";

// Upload queue.

inline constexpr const char* enqueueUploadTask =
    "INSERT OR REPLACE INTO upload_queue\n"
    "(id, domain_key, session_id, type, file_path, json_payload, retry_count, created_at, status, "
    "priority, next_attempt_at)\n"
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);";
inline constexpr const char* nextUploadTask =
    R"(SELECT id, session_id, type, file_path, json_payload, retry_count, created_at, status, priority,
  rowid
FROM upload_queue AS task
WHERE domain_key = ? AND status IN ('pending', 'failed') AND next_attempt_at <= ?
AND (type = 'startSession' OR NOT EXISTS (SELECT 1 FROM upload_queue AS start
     WHERE start.domain_key = task.domain_key AND start.session_id = task.session_id
     AND start.type = 'startSession' AND start.status IN ('pending', 'failed', 'inProgress')))
ORDER BY priority DESC, created_at ASC
LIMIT 1;)";
/// Not offered again; its content stays in the file.
inline constexpr const char* setUploadRowAside = "UPDATE upload_queue SET status = 'unreadable' WHERE rowid = ?;";
inline constexpr const char* updateUploadTaskStatus = "UPDATE upload_queue SET status = ? WHERE id = ?;";
inline constexpr const char* markUploadTaskFailed = R"(UPDATE upload_queue
SET status = ?, retry_count = ?, next_attempt_at = ?
WHERE id = ?;)";
inline constexpr const char* markUploadTaskCompleted = "DELETE FROM upload_queue WHERE id = ?;";
inline constexpr const char* bringUploadTasksForward =
    "UPDATE upload_queue SET next_attempt_at = ? WHERE next_attempt_at > ?;";
inline constexpr const char* resetStaleInProgressTasks =
    "UPDATE upload_queue SET status = 'pending' WHERE status = 'inProgress';";
inline constexpr const char* hasScreenshotTask =
    R"(SELECT 1 FROM upload_queue
WHERE domain_key = ? AND type = 'screenshot' AND session_id = ? AND file_path = ?
AND status IN ('pending', 'failed', 'inProgress')
LIMIT 1;)";
inline constexpr const char* hasActivitySegmentTask =
    R"(SELECT 1 FROM upload_queue
WHERE domain_key = ? AND type = 'activitySegment'
AND status IN ('pending', 'failed', 'inProgress')
LIMIT 1;)";
inline constexpr const char* unacceptedSessions =
    R"(SELECT COUNT(DISTINCT session_id) FROM upload_queue
WHERE domain_key = ? AND priority >= ? AND retry_count > ?;)";
/// Around one "?" per type, joined with ",".
inline constexpr const char* pendingUploadTaskIdsHead = "SELECT id FROM upload_queue\n"
                                                        "WHERE domain_key = ? AND session_id = ? AND type IN (";
inline constexpr const char* pendingUploadTaskIdsTail = ")\n"
                                                        "  AND status IN ('pending', 'inProgress', 'failed');";

// Activity segments.

/// A segment that is continued keeps its first zone, which the server may already have.
inline constexpr const char* upsertActivitySegment =
    "INSERT INTO activity_segments (domain_key, segment_date, segment_number, active_seconds, "
    "non_idle_seconds, mouse_movements, keyboard_movements, timezone, uploaded_at)\n"
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, NULL)\n"
    "ON CONFLICT(domain_key, segment_date, segment_number) DO UPDATE SET\n"
    "  active_seconds = min(600, active_seconds + excluded.active_seconds),\n"
    "  non_idle_seconds = min(600, non_idle_seconds + excluded.non_idle_seconds),\n"
    "  mouse_movements = min(2147483647, mouse_movements + excluded.mouse_movements),\n"
    "  keyboard_movements = min(2147483647, keyboard_movements + excluded.keyboard_movements),\n"
    "  uploaded_at = NULL;";
inline constexpr const char* pendingActivitySegmentsForUpload =
    "SELECT segment_date, segment_number, active_seconds, non_idle_seconds, mouse_movements, "
    "keyboard_movements, timezone\n"
    "FROM activity_segments\n"
    "WHERE domain_key = ? AND uploaded_at IS NULL\n"
    "AND (segment_date < ? OR (segment_date = ? AND segment_number < ?))\n"
    "AND NOT (active_seconds = 0 AND non_idle_seconds = 0\n"
    "         AND mouse_movements = 0 AND keyboard_movements = 0)\n"
    "ORDER BY segment_date ASC, segment_number ASC;";
inline constexpr const char* markActivitySegmentUploaded =
    R"(UPDATE activity_segments SET uploaded_at = ?
WHERE domain_key = ? AND segment_date = ? AND segment_number = ?
AND active_seconds = ? AND non_idle_seconds = ? AND mouse_movements = ? AND keyboard_movements = ?;)";
inline constexpr const char* segmentActivitySummary =
    R"(SELECT active_seconds, non_idle_seconds FROM activity_segments
WHERE domain_key = ? AND segment_date >= ? AND segment_date < ?
ORDER BY segment_date ASC, segment_number ASC;)";

// Assign rows to a domain key. Parameters: the new key, the former key.

inline constexpr const char* adoptions[] = {
    "UPDATE sessions SET domain_key = ? WHERE domain_key = ?;",
    "UPDATE session_history SET domain_key = ? WHERE domain_key = ?;",
    "UPDATE OR IGNORE activity_segments SET domain_key = ? WHERE domain_key = ?;",
    "UPDATE upload_queue SET domain_key = ? WHERE domain_key = ?;",
};
/// Parameters: new folder, former folder, new domain key, former folder, former folder.
inline constexpr const char* moveFilePaths =
    R"(UPDATE upload_queue SET file_path = ? || substr(file_path, length(?) + 1)
WHERE domain_key = ? AND substr(file_path, 1, length(?)) = ?;)";

// Launch cleanup, in this order. Parameters of the last: the current domain key and the cutoff date.

inline constexpr const char* cleanups[] = {
    "DELETE FROM upload_queue WHERE domain_key = 'global';",
    "DELETE FROM activity_segments WHERE domain_key = 'global';",
    R"(DELETE FROM activity_segments
WHERE uploaded_at IS NULL
AND active_seconds = 0 AND non_idle_seconds = 0
AND mouse_movements = 0 AND keyboard_movements = 0;)",
};
inline constexpr const char* cleanupStaleSegments =
    R"(DELETE FROM activity_segments
WHERE domain_key != ? AND uploaded_at IS NULL AND segment_date < ?;)";

// Together these name every column: a file in which one fails to prepare is unusable.
inline constexpr const char* writes[] = {saveActiveSession, appendSessionHistory, enqueueUploadTask,
                                         upsertActivitySegment};

} // namespace Sql

#pragma once

/// The texts of the statements that the store runs.
namespace Sql {

inline constexpr const char* journalMode = "PRAGMA journal_mode=WAL;";
inline constexpr const char* foreignKeys = "PRAGMA foreign_keys=ON;";

// Schema. The file's own columns are its version.

inline constexpr const char* tables[] = {
    "CREATE TABLE IF NOT EXISTS sessions (\n  id TEXT PRIMARY KEY,\n  domain_key TEXT NOT NULL DEFAULT "
    "'global',\n"
    "  device_id TEXT NOT NULL,\n  project_id TEXT NOT NULL,\n  project_name TEXT NOT NULL,\n"
    "  payload BLOB NOT NULL,\n  updated_at REAL NOT NULL\n);",
    "CREATE TABLE IF NOT EXISTS session_history (\n  id TEXT PRIMARY KEY,\n"
    "  domain_key TEXT NOT NULL DEFAULT 'global',\n  device_id TEXT NOT NULL,\n  project_id TEXT NOT NULL,\n"
    "  project_name TEXT NOT NULL,\n  payload BLOB NOT NULL,\n  started_at REAL NOT NULL,\n"
    "  stopped_at REAL NOT NULL\n);",
    "CREATE TABLE IF NOT EXISTS upload_queue (\n  id TEXT PRIMARY KEY,\n"
    "  domain_key TEXT NOT NULL DEFAULT 'global',\n  session_id TEXT NOT NULL,\n  type TEXT NOT NULL,\n"
    "  file_path TEXT,\n  json_payload BLOB,\n  retry_count INTEGER NOT NULL DEFAULT 0,\n"
    "  created_at REAL NOT NULL,\n  status TEXT NOT NULL,\n  priority INTEGER NOT NULL,\n"
    "  next_attempt_at REAL NOT NULL DEFAULT 0\n);",
    "CREATE TABLE IF NOT EXISTS activity_segments (\n  domain_key TEXT NOT NULL,\n  segment_date TEXT NOT "
    "NULL,\n"
    "  segment_number INTEGER NOT NULL,\n  active_seconds INTEGER NOT NULL DEFAULT 0,\n"
    "  non_idle_seconds INTEGER NOT NULL DEFAULT 0,\n  mouse_movements INTEGER NOT NULL DEFAULT 0,\n"
    "  keyboard_movements INTEGER NOT NULL DEFAULT 0,\n  uploaded_at REAL,\n"
    "  PRIMARY KEY (domain_key, segment_date, segment_number)\n);",
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
    {"upload_queue", "domain_key",
     "ALTER TABLE upload_queue ADD COLUMN domain_key TEXT NOT NULL DEFAULT 'global';"},
    {"upload_queue", "next_attempt_at",
     "ALTER TABLE upload_queue ADD COLUMN next_attempt_at REAL NOT NULL DEFAULT 0;"},
};

inline constexpr const char* indices[] = {
    "CREATE INDEX IF NOT EXISTS idx_upload_queue_lookup\n  ON upload_queue(domain_key, status, "
    "next_attempt_at);",
    "CREATE INDEX IF NOT EXISTS idx_activity_segments_pending\n"
    "  ON activity_segments(domain_key, uploaded_at, segment_date, segment_number);",
    "CREATE INDEX IF NOT EXISTS idx_sessions_domain\n  ON sessions(domain_key, updated_at);",
    "CREATE INDEX IF NOT EXISTS idx_session_history_domain\n  ON session_history(domain_key, started_at);",
    // The order in which tasks run. Without it the next task costs a visit to every due row: 23 ms among
    // 100,000.
    "CREATE INDEX IF NOT EXISTS idx_upload_queue_order\n  ON upload_queue(domain_key, priority DESC, "
    "created_at);",
};

// Running and finished sessions.

inline constexpr const char* saveActiveSession = "INSERT OR REPLACE INTO sessions (id, domain_key, "
                                                 "device_id, project_id, project_name, payload, updated_at)\n"
                                                 "VALUES (?, ?, ?, ?, ?, ?, ?);";
inline constexpr const char* loadAllActiveSessions =
    "SELECT payload FROM sessions\nWHERE domain_key = ?\nORDER BY updated_at DESC;";
inline constexpr const char* clearActiveSession = "DELETE FROM sessions WHERE domain_key = ? AND id = ?;";
inline constexpr const char* clearActiveSessions = "DELETE FROM sessions WHERE domain_key = ?;";
inline constexpr const char* appendSessionHistory =
    "INSERT OR REPLACE INTO session_history (id, domain_key, device_id, project_id, project_name, payload, "
    "started_at, stopped_at)\nVALUES (?, ?, ?, ?, ?, ?, ?, ?);";
inline constexpr const char* sessionHistory =
    "SELECT payload FROM session_history\nWHERE domain_key = ? AND started_at >= ? AND started_at < ?\n"
    "ORDER BY started_at ASC;";

// Upload queue.

inline constexpr const char* enqueueUploadTask =
    "INSERT OR REPLACE INTO upload_queue\n(id, domain_key, session_id, type, file_path, json_payload, "
    "retry_count, "
    "created_at, status, priority, next_attempt_at)\nVALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);";
inline constexpr const char* nextUploadTask =
    "SELECT id, session_id, type, file_path, json_payload, retry_count, created_at, status, priority\n"
    "FROM upload_queue\nWHERE domain_key = ? AND status IN ('pending', 'failed') AND next_attempt_at <= ?\n"
    "ORDER BY priority DESC, created_at ASC\nLIMIT 1;";
inline constexpr const char* updateUploadTaskStatus =
    "UPDATE upload_queue SET status = ? WHERE domain_key = ? AND id = ?;";
inline constexpr const char* markUploadTaskFailed = "UPDATE upload_queue\nSET status = ?, retry_count = ?, "
                                                    "next_attempt_at = ?\nWHERE domain_key = ? AND id = ?;";
inline constexpr const char* markUploadTaskCompleted =
    "DELETE FROM upload_queue WHERE domain_key = ? AND id = ?;";
inline constexpr const char* resetStaleInProgressTasks =
    "UPDATE upload_queue SET status = 'pending' WHERE status = 'inProgress';";
inline constexpr const char* hasScreenshotTask =
    "SELECT 1 FROM upload_queue\nWHERE domain_key = ? AND type = 'screenshot' AND session_id = ? AND "
    "file_path = ?\n"
    "AND status IN ('pending', 'failed', 'inProgress')\nLIMIT 1;";
inline constexpr const char* hasActivitySegmentTask =
    "SELECT 1 FROM upload_queue\nWHERE domain_key = ? AND type = 'activitySegment'\n"
    "AND status IN ('pending', 'failed', 'inProgress')\nLIMIT 1;";
inline constexpr const char* pendingUploadFilePaths =
    "SELECT file_path FROM upload_queue\n"
    "WHERE domain_key = ? AND file_path IS NOT NULL AND status IN ('pending', 'inProgress', 'failed');";
/// Around one "?" per type, joined with ",".
inline constexpr const char* pendingUploadTaskIdsHead =
    "SELECT id FROM upload_queue\nWHERE domain_key = ? AND session_id = ? AND type IN (";
inline constexpr const char* pendingUploadTaskIdsTail =
    ")\n  AND status IN ('pending', 'inProgress', 'failed');";

// Activity segments.

inline constexpr const char* upsertActivitySegment =
    "INSERT INTO activity_segments (domain_key, segment_date, segment_number, active_seconds, "
    "non_idle_seconds, "
    "mouse_movements, keyboard_movements, uploaded_at)\nVALUES (?, ?, ?, ?, ?, ?, ?, NULL)\n"
    "ON CONFLICT(domain_key, segment_date, segment_number) DO UPDATE SET\n"
    "  active_seconds = excluded.active_seconds,\n  non_idle_seconds = excluded.non_idle_seconds,\n"
    "  mouse_movements = excluded.mouse_movements,\n  keyboard_movements = excluded.keyboard_movements,\n"
    "  uploaded_at = NULL;";
inline constexpr const char* pendingActivitySegmentsForUpload =
    "SELECT segment_date, segment_number, active_seconds, non_idle_seconds, mouse_movements, "
    "keyboard_movements\n"
    "FROM activity_segments\nWHERE domain_key = ? AND uploaded_at IS NULL\n"
    "AND (segment_date < ? OR (segment_date = ? AND segment_number < ?))\n"
    "AND NOT (active_seconds = 0 AND non_idle_seconds = 0\n"
    "         AND mouse_movements = 0 AND keyboard_movements = 0)\n"
    "ORDER BY segment_date ASC, segment_number ASC;";
inline constexpr const char* markActivitySegmentUploaded =
    "UPDATE activity_segments SET uploaded_at = ?\n"
    "WHERE domain_key = ? AND segment_date = ? AND segment_number = ?;";
inline constexpr const char* segmentActivitySummary =
    "SELECT active_seconds, non_idle_seconds FROM activity_segments\n"
    "WHERE domain_key = ? AND segment_date >= ? AND segment_date < ?\n"
    "ORDER BY segment_date ASC, segment_number ASC;";

// Launch cleanup, in this order. The last takes the current domain and the cutoff date.

inline constexpr const char* cleanups[] = {
    "DELETE FROM upload_queue WHERE domain_key = 'global';",
    "DELETE FROM activity_segments WHERE domain_key = 'global';",
    "DELETE FROM activity_segments\nWHERE uploaded_at IS NULL\nAND active_seconds = 0 AND non_idle_seconds = "
    "0\n"
    "AND mouse_movements = 0 AND keyboard_movements = 0;",
};
inline constexpr const char* cleanupStaleSegments =
    "DELETE FROM activity_segments\nWHERE domain_key != ? AND uploaded_at IS NULL AND segment_date < ?;";

// Between them these name every column: a file in which they do not prepare cannot serve.
inline constexpr const char* writes[] = {saveActiveSession, appendSessionHistory, enqueueUploadTask,
                                         upsertActivitySegment};

} // namespace Sql

#include "ApplicationFolder.h"
#include "SQLiteStore.h"
#include "StoreWorld.h"

#include <gtest/gtest.h>

namespace {

constexpr Date start = Date::since1970(1'700'000'000);

/// What the first versions made: no company, no due time.
constexpr auto firstSchema =
    "CREATE TABLE sessions (id TEXT PRIMARY KEY, device_id TEXT NOT NULL, project_id TEXT NOT NULL,"
    " project_name TEXT NOT NULL, payload BLOB NOT NULL, updated_at REAL NOT NULL);"
    "CREATE TABLE session_history (id TEXT PRIMARY KEY, device_id TEXT NOT NULL, project_id TEXT NOT NULL,"
    " project_name TEXT NOT NULL, payload BLOB NOT NULL, started_at REAL NOT NULL, stopped_at REAL NOT NULL);"
    "CREATE TABLE upload_queue (id TEXT PRIMARY KEY, session_id TEXT NOT NULL, type TEXT NOT NULL, file_path "
    "TEXT,"
    " json_payload BLOB, retry_count INTEGER NOT NULL DEFAULT 0, created_at REAL NOT NULL, status TEXT NOT "
    "NULL,"
    " priority INTEGER NOT NULL);";

constexpr auto firstRows =
    "INSERT INTO sessions (id, device_id, project_id, project_name, payload, updated_at)"
    " VALUES ('A', 'd', '', '', x'7b7d', 1);"
    "INSERT INTO session_history (id, device_id, project_id, project_name, payload, started_at, stopped_at)"
    " VALUES ('A', 'd', '', '', x'7b7d', 1, 2);"
    "INSERT INTO upload_queue (id, session_id, type, created_at, status, priority)"
    " VALUES ('0A1B2C3D-0000-4000-8000-000000000001', '0A1B2C3D-0000-4000-8000-000000000007', 'heartbeat', 5,"
    " 'pending', 100);";

} // namespace

TEST(SQLiteMigration, makesTheSchemaWordForWord) {
    StoreWorld world;
    world.open();
    EXPECT_EQ(world.sql("PRAGMA journal_mode"), QStringList("wal"));
    const QString schema =
        world.sql("SELECT sql || ';' FROM sqlite_master WHERE sql IS NOT NULL ORDER BY rowid").join('\n');
    EXPECT_EQ(schema.toStdString(), R"(CREATE TABLE sessions (
  id TEXT PRIMARY KEY,
  domain_key TEXT NOT NULL DEFAULT 'global',
  device_id TEXT NOT NULL,
  project_id TEXT NOT NULL,
  project_name TEXT NOT NULL,
  payload BLOB NOT NULL,
  updated_at REAL NOT NULL
);
CREATE TABLE session_history (
  id TEXT PRIMARY KEY,
  domain_key TEXT NOT NULL DEFAULT 'global',
  device_id TEXT NOT NULL,
  project_id TEXT NOT NULL,
  project_name TEXT NOT NULL,
  payload BLOB NOT NULL,
  started_at REAL NOT NULL,
  stopped_at REAL NOT NULL
);
CREATE TABLE upload_queue (
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
);
CREATE TABLE activity_segments (
  domain_key TEXT NOT NULL,
  segment_date TEXT NOT NULL,
  segment_number INTEGER NOT NULL,
  active_seconds INTEGER NOT NULL DEFAULT 0,
  non_idle_seconds INTEGER NOT NULL DEFAULT 0,
  mouse_movements INTEGER NOT NULL DEFAULT 0,
  keyboard_movements INTEGER NOT NULL DEFAULT 0,
  uploaded_at REAL,
  PRIMARY KEY (domain_key, segment_date, segment_number)
);
CREATE INDEX idx_upload_queue_lookup
  ON upload_queue(domain_key, status, next_attempt_at);
CREATE INDEX idx_activity_segments_pending
  ON activity_segments(domain_key, uploaded_at, segment_date, segment_number);
CREATE INDEX idx_sessions_domain
  ON sessions(domain_key, updated_at);
CREATE INDEX idx_session_history_domain
  ON session_history(domain_key, started_at);
CREATE INDEX idx_upload_queue_order
  ON upload_queue(domain_key, priority DESC, created_at);)");
}

TEST(SQLiteMigration, bringsOlderFilesUpToDate) {
    StoreWorld world;
    world.sql(firstSchema);
    world.sql(firstRows);
    SQLiteStore& store = world.open();
    EXPECT_TRUE(world.filesSetAside().isEmpty());
    for (const char* table : {"sessions", "session_history", "upload_queue"}) {
        EXPECT_EQ(world.sql(QByteArray("SELECT domain_key FROM ") + table), QStringList("global")) << table;
    }
    EXPECT_EQ(world.sql("SELECT next_attempt_at FROM upload_queue"), QStringList("0.0"));

    world.domain.setBaseURL(std::nullopt);
    const auto task = store.nextUploadTask(start);
    ASSERT_TRUE(task);
    EXPECT_EQ(task->id, numberedId(1));
    store.markUploadTaskFailed(task->id, 1, start + 1);
    EXPECT_FALSE(store.nextUploadTask(start));
    EXPECT_EQ(store.cleanupUnattributableData("2024-01-01"), 1);
    world.reopen();
    EXPECT_EQ(world.sql("SELECT count(*) FROM sessions"), QStringList("1"));
    EXPECT_TRUE(world.filesSetAside().isEmpty());
}

TEST(SQLiteMigration, keepsAFileWithOneOfTheColumns) {
    StoreWorld world;
    world.sql(firstSchema);
    world.sql("ALTER TABLE upload_queue ADD COLUMN domain_key TEXT NOT NULL DEFAULT 'acme.test';");
    world.sql(firstRows);
    SQLiteStore& store = world.open();
    ASSERT_TRUE(store.nextUploadTask(start));
    EXPECT_EQ(store.nextUploadTask(start)->id, numberedId(1));
    store.saveActiveSession(storedSession(9, start, std::nullopt));
    EXPECT_TRUE(store.loadActiveSession());
}

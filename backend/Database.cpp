#include "backend/Database.h"

#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace backend {

namespace {

constexpr const char* schema = R"sql(
PRAGMA journal_mode = WAL;
PRAGMA synchronous = NORMAL;
CREATE TABLE IF NOT EXISTS tokens (
    access_digest TEXT PRIMARY KEY, refresh_digest TEXT NOT NULL UNIQUE, user TEXT NOT NULL,
    access_expires_at INTEGER NOT NULL, refresh_expires_at INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS sessions (
    session_uuid TEXT PRIMARY KEY, user TEXT NOT NULL, company TEXT NOT NULL,
    device_uuid TEXT NOT NULL, holder_uuid TEXT NOT NULL, task_id TEXT NOT NULL,
    started_at INTEGER NOT NULL, stopped_at INTEGER, status TEXT NOT NULL DEFAULT 'active',
    total_seconds INTEGER NOT NULL DEFAULT 0, mouse_movements INTEGER NOT NULL DEFAULT 0,
    key_press_count INTEGER NOT NULL DEFAULT 0, activity_rate REAL NOT NULL DEFAULT 0,
    started INTEGER NOT NULL DEFAULT 0, heartbeats INTEGER NOT NULL DEFAULT 0,
    reported_at INTEGER NOT NULL DEFAULT 0);
CREATE INDEX IF NOT EXISTS sessions_by_day ON sessions (user, company, started_at);
CREATE TABLE IF NOT EXISTS intervals (
    session_uuid TEXT NOT NULL, position INTEGER NOT NULL, interval_uuid TEXT NOT NULL,
    started_at INTEGER NOT NULL, stopped_at INTEGER, PRIMARY KEY (session_uuid, position));
CREATE TABLE IF NOT EXISTS segments (
    user TEXT NOT NULL, company TEXT NOT NULL, device_uuid TEXT NOT NULL,
    segment_date TEXT NOT NULL, segment_number INTEGER NOT NULL, timezone TEXT NOT NULL,
    activity_rate REAL NOT NULL, non_idle_percent REAL NOT NULL,
    mouse_movements INTEGER NOT NULL, key_press_count INTEGER NOT NULL, received_at INTEGER NOT NULL,
    PRIMARY KEY (user, company, segment_date, segment_number, device_uuid));
CREATE TABLE IF NOT EXISTS screenshots (
    session_uuid TEXT NOT NULL, file_name TEXT NOT NULL, captured_at INTEGER NOT NULL,
    width INTEGER NOT NULL, height INTEGER NOT NULL, bytes INTEGER NOT NULL, received_at INTEGER NOT NULL,
    PRIMARY KEY (session_uuid, file_name));
)sql";

[[noreturn]] void fail(sqlite3* connection) {
    throw std::runtime_error(sqlite3_errmsg(connection));
}

} // namespace

Database::Database(const QString& path) {
    const QByteArray file = path.toUtf8();
    // SQLite gives the -wal and -shm files the mode of the database file, so making that first settles all
    // three.
    const int descriptor = ::open(file.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0 || ::fchmod(descriptor, 0600) != 0)
        throw std::runtime_error("cannot open the database file " + file.toStdString());
    ::close(descriptor);
    if (sqlite3_open(file.constData(), &connection) != SQLITE_OK)
        fail(connection);
    sqlite3_busy_timeout(connection, 2000);
    execute(schema);
}

Database::~Database() {
    sqlite3_close(connection);
}

void Database::execute(const char* sql) {
    if (sqlite3_exec(connection, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(connection);
}

int Database::changes() const {
    return sqlite3_changes(connection);
}

Transaction::Transaction(Database& on)
    : database(on) {
    database.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (open)
        sqlite3_exec(database.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
    database.execute("COMMIT");
    open = false;
}

Statement::~Statement() {
    sqlite3_finalize(statement);
}

void Statement::prepare(Database& database, const char* sql) {
    if (sqlite3_prepare_v2(database.handle(), sql, -1, &statement, nullptr) != SQLITE_OK)
        fail(database.handle());
}

bool Statement::next() {
    const int result = sqlite3_step(statement);
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        fail(sqlite3_db_handle(statement));
    return result == SQLITE_ROW;
}

void Statement::run() {
    while (next()) {
    }
}

qint64 Statement::integer(int column) const {
    return sqlite3_column_int64(statement, column);
}

double Statement::real(int column) const {
    return sqlite3_column_double(statement, column);
}

QString Statement::text(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return QString::fromUtf8(bytes, sqlite3_column_bytes(statement, column));
}

std::optional<qint64> Statement::optionalInteger(int column) const {
    if (sqlite3_column_type(statement, column) == SQLITE_NULL)
        return std::nullopt;
    return integer(column);
}

void Statement::bindInteger(int index, qint64 value) {
    sqlite3_bind_int64(statement, index, value);
}

void Statement::bind(int index, double value) {
    sqlite3_bind_double(statement, index, value);
}

void Statement::bind(int index, const QString& value) {
    const QByteArray utf8 = value.toUtf8();
    sqlite3_bind_text(statement, index, utf8.constData(), static_cast<int>(utf8.size()), SQLITE_TRANSIENT);
}

void Statement::bind(int index, const std::optional<qint64>& value) {
    if (value)
        bindInteger(index, *value);
    else
        sqlite3_bind_null(statement, index);
}

} // namespace backend

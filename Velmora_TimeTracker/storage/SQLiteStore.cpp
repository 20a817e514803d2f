#include "storage/SQLiteStore.h"

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/PrivateFiles.h"
#include "storage/DomainStorage.h"
#include "storage/Statement.h"
#include "storage/StoreStatements.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <algorithm>
#include <cstdio>
#include <sqlite3.h>
#include <vector>

namespace {

constexpr QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner;

/// How long a statement waits for another process, such as a backup, to release the file. Short enough not to be
/// noticed, since statements also run on the main thread.
constexpr int busyMilliseconds = 50;
constexpr std::chrono::seconds reopenInterval{1};
constexpr const char* opening = "opening"; ///< Counted like a statement in `failures_`.

/// True if the file's content is invalid, not the disk, the permissions or another process.
bool isDamage(int code) {
    const int primary = code & 0xff;
    return primary == SQLITE_ERROR || primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB ||
           primary == SQLITE_CONSTRAINT;
}

/// True if every byte of the open file can be read. SQLite reports a read error as corruption.
bool isReadable(sqlite3* db) {
    sqlite3_file* file = nullptr;
    if (db)
        sqlite3_file_control(db, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (!file || !file->pMethods)
        return true;
    std::vector<char> bytes(1 << 16);
    const auto most = static_cast<sqlite3_int64>(bytes.size());
    sqlite3_int64 size = 0;
    int code = file->pMethods->xFileSize(file, &size);
    for (sqlite3_int64 at = 0; at < size && code == SQLITE_OK; at += most)
        code = file->pMethods->xRead(file, bytes.data(), static_cast<int>(std::min(most, size - at)), at);
    return code == SQLITE_OK;
}

SQLiteStore::Failure failureOf(int code) {
    switch (code & 0xff) {
    case SQLITE_FULL:
        return SQLiteStore::Failure::diskFull;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return SQLiteStore::Failure::busy;
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_MISUSE: // no open file
        return SQLiteStore::Failure::notWritable;
    default:
        return SQLiteStore::Failure::other;
    }
}

/// The beginning of a statement, for the log.
QByteArray excerpt(const char* sql) {
    return QByteArray(sql).simplified().left(60);
}

/// SQLite creates the WAL files with the mode of the database, so the mode is set first.
void makePrivateFile(const QString& path) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly, ownerOnly))
        file.close();
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const QString name = path + QLatin1StringView(suffix);
        if (QFileInfo(name).isFile())
            QFile::setPermissions(name, ownerOnly);
    }
}

/// Also true if the table cannot be queried, so that it is not changed.
bool tableHasColumn(sqlite3* db, const char* table, const char* name) {
    Statement columns(db, QByteArray("PRAGMA table_info(") + table + ");");
    while (columns.step())
        if (columns.text(1) == QLatin1StringView(name))
            return true;
    return columns.failure() != SQLITE_OK;
}

/// Result of the page check. A read error does not mean a corrupt file; the check reports it only in its text.
int verdict(const QString& text) {
    static const QRegularExpression pageError("error code=(\\d+)");
    const auto match = pageError.match(text);
    return text == "ok" ? SQLITE_OK : match.hasMatch() ? match.captured(1).toInt() : SQLITE_CORRUPT;
}

/// The first error code that shows that the file is unusable.
int checkContent(sqlite3* db) {
    // Reads every page: 1.3 ms per megabyte.
    Statement check(db, "PRAGMA quick_check(1);");
    const int found = check.step() ? verdict(check.text(0).value_or(QString())) : check.failure();
    if (found != SQLITE_OK)
        return found;
    for (const char* sql : Sql::writes) {
        const Statement statement(db, sql);
        if (!statement.isPrepared())
            return statement.failure();
    }
    return SQLITE_OK;
}

} // namespace

SQLiteStore::SQLiteStore(const QString& folder, const DomainStorage& domain, Clock& clock)
    : dbURL_(folder + "/timetracker.sqlite")
    , domain_(domain)
    , clock_(clock) {
    const std::lock_guard guard(queue_);
    openIfNeeded();
}

SQLiteStore::~SQLiteStore() {
    close();
}

void SQLiteStore::close() {
    sqlite3_close(std::exchange(db_, nullptr));
}

void SQLiteStore::openIfNeeded() {
    if (db_) {
        // Outside a transaction, whose rollback would undo it.
        if (!hasSchema_ && sqlite3_get_autocommit(db_) != 0)
            migrateIfNeeded();
        return;
    }
    const auto now = clock_.uptime();
    if (!lastOpenAttempt_ || now - *lastOpenAttempt_ >= reopenInterval) {
        lastOpenAttempt_ = now;
        openOrReplace();
    }
}

void SQLiteStore::openOrReplace() {
    PrivateFiles::create(QFileInfo(dbURL_).path());
    const QFileInfo file(dbURL_);
    const int code = file.exists() && !file.isFile() ? SQLITE_NOTADB : open();
    if (!isDamage(code))
        return;
    if (isReadable(db_))
        beginNewDatabase(code);
    else
        qCCritical(Log::session, "SQLiteStore: cannot read database (rc=%d)", code);
}

int SQLiteStore::connect() {
    // Disables SQLite's memory statistics, which cost a lock at each allocation.
    [[maybe_unused]] static const int withoutStatistics = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    makePrivateFile(dbURL_);
    const int opened = sqlite3_open(QFile::encodeName(dbURL_).constData(), &db_);
    if (opened != SQLITE_OK) {
        if (++failures_[opening] == 1)
            qCCritical(Log::session, "SQLiteStore: failed to open DB rc=%d", opened);
        close(); // after a failed open the handle never works
        return opened;
    }
    failures_.remove(opening);
    sqlite3_busy_timeout(db_, busyMilliseconds);
    sqlite3_exec(db_, Sql::journalMode, nullptr, nullptr, nullptr);
    sqlite3_exec(db_, Sql::foreignKeys, nullptr, nullptr, nullptr);
    return SQLITE_OK;
}

int SQLiteStore::open() {
    const int connected = connect();
    if (connected != SQLITE_OK)
        return connected;
    const int migrated = migrateIfNeeded();
    if (migrated != SQLITE_OK)
        return migrated;
    // The file is writable but SQLite opened it read-only: its header requires a later format.
    if (sqlite3_db_readonly(db_, "main") == 1 && QFileInfo(dbURL_).isWritable())
        return SQLITE_NOTADB;
    return checkContent(db_);
}

int SQLiteStore::migrateIfNeeded() {
    int firstFailure = SQLITE_OK;
    const auto note = [&firstFailure](int code) { firstFailure = firstFailure == SQLITE_OK ? code : firstFailure; };
    for (const char* table : Sql::tables)
        note(execute(table));
    for (const Sql::ColumnMigration& migration : Sql::columnMigrations)
        if (!tableHasColumn(db_, migration.table, migration.column))
            note(sqlite3_exec(db_, migration.alter, nullptr, nullptr, nullptr));
    for (const char* index : Sql::indices)
        note(sqlite3_exec(db_, index, nullptr, nullptr, nullptr));
    hasSchema_ = firstFailure == SQLITE_OK;
    return firstFailure;
}

int SQLiteStore::execute(const char* sql) {
    char* message = nullptr;
    const int code = sqlite3_exec(db_, sql, nullptr, nullptr, &message);
    if (code == SQLITE_OK) {
        failures_.remove(sql);
    } else if (message && ++failures_[sql] == 1) {
        std::printf("SQLite error: %s\n", message);
        std::fflush(stdout);
    }
    sqlite3_free(message);
    return code;
}

void SQLiteStore::beginNewDatabase(int code) {
    if (db_) {
        sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1,
                          nullptr); // the old file is kept unchanged
        close();
    }
    const QString stamp = clock_.now().toDateTime(QTimeZone::utc()).toString("yyyyMMdd-HHmmss");
    const QString aside = PrivateFiles::setAside(dbURL_, stamp);
    if (aside.isEmpty()) {
        qCCritical(Log::session, "SQLiteStore: unusable database (rc=%d), and it cannot be set aside", code);
        connect(); // reads what is still readable
        return;
    }
    // Moves the WAL with the old file; otherwise it would be replayed into the new one.
    for (const char* suffix : {"-wal", "-shm"})
        QFile::rename(dbURL_ + QLatin1StringView(suffix), aside + QLatin1StringView(suffix));
    qCCritical(Log::session, "SQLiteStore: unusable database (rc=%d) set aside as %ls", code, qUtf16Printable(aside));
    open();
}

void SQLiteStore::noteOutcome(const char* sql, int code) {
    if (code == SQLITE_OK) {
        if (const int failures = failures_.isEmpty() ? 0 : failures_.take(sql); failures > 0)
            qCInfo(Log::session, "SQLiteStore: succeeded after %d failures: %s", failures, excerpt(sql).constData());
        return;
    }
    lastFailure_ = code;
    const int failures = ++failures_[sql];
    if (failures == 1) {
        qCCritical(Log::session, "SQLiteStore: failed rc=%d (%s): %s", code, sqlite3_errmsg(db_),
                   excerpt(sql).constData());
    }
    const int primary = code & 0xff;
    if ((primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB) && isReadable(db_)) {
        // Corruption found after opening. REINDEX repairs damaged indices without data loss; if it fails or does not
        // help, the file is replaced. An I/O error proves nothing about the file. An open transaction is rolled back
        // first, since its rollback would undo the repair.
        rollBack();
        const int reindexed = reindex();
        if (reindexed == SQLITE_OK ? failures > 1 : isDamage(reindexed))
            beginNewDatabase(code);
    }
}

int SQLiteStore::reindex() {
    const int indexed = execute("REINDEX;");
    return indexed == SQLITE_OK ? checkContent(db_) : indexed;
}

bool SQLiteStore::withStatement(const char* sql, const std::function<void(Statement&)>& use) {
    const std::lock_guard guard(queue_);
    openIfNeeded();
    int code = SQLITE_OK;
    {
        Statement statement(db_, sql);
        if (statement.isPrepared())
            use(statement);
        code = statement.failure();
    }
    noteOutcome(sql, code);
    return code == SQLITE_OK;
}

std::optional<SQLiteStore::Failure> SQLiteStore::transaction(const std::function<bool()>& steps) {
    const auto run = [](Statement& statement) { statement.run(); };
    const std::lock_guard guard(queue_);
    if (withStatement(Sql::begin, run) && steps() && withStatement(Sql::commit, run))
        return std::nullopt;
    const int code = lastFailure_;
    rollBack();
    return failureOf(code);
}

void SQLiteStore::rollBack() {
    if (db_ && sqlite3_get_autocommit(db_) == 0)
        execute(Sql::rollback);
}

void SQLiteStore::adoptRows(const QString& formerKey, const QString& domainKey, const QString& formerFolder,
                            const QString& folder) {
    transaction([&] {
        bool isDone = true;
        for (const char* sql : Sql::adoptions)
            isDone = isDone && withStatement(sql, [&](Statement& statement) {
                         statement.bindText(domainKey).bindText(formerKey).run();
                     });
        return isDone && withStatement(Sql::moveFilePaths, [&](Statement& statement) {
                   statement.bindText(folder).bindText(formerFolder).bindText(domainKey);
                   statement.bindText(formerFolder).bindText(formerFolder).run();
               });
    });
}

int SQLiteStore::cleanupUnattributableData(const QString& staleCutoffDate,
                                           const std::optional<QString>& currentDomain) {
    const QString domain = currentDomain ? *currentDomain : domain_.domainKey();
    int removed = 0;
    const std::lock_guard guard(queue_);
    const auto removeRows = [&](Statement& statement) { removed += statement.run() ? sqlite3_changes(db_) : 0; };
    for (const char* sql : Sql::cleanups)
        withStatement(sql, removeRows);
    withStatement(Sql::cleanupStaleSegments,
                  [&](Statement& statement) { removeRows(statement.bindText(domain).bindText(staleCutoffDate)); });
    return removed;
}

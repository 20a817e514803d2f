#include "StoreWorld.h"

#include <map>
#include <random>
#include <sqlite3.h>
#include <unistd.h>

namespace {

/// A disk that can fail: the calls which touch it are counted, and one of them, or all from one on, fail.
struct FaultyDisk {
    struct Methods {
        sqlite3_io_methods failing;
        const sqlite3_io_methods* real;
    };
    static inline sqlite3_vfs *real, vfs;
    static inline std::map<const sqlite3_io_methods*, Methods> methodsOf; ///< By kind of file.
    static inline int calls, failingCall, code, failures;
    static inline bool isLasting;

    FaultyDisk() {
        real = sqlite3_vfs_find(nullptr);
        vfs = *real;
        vfs.xOpen = open;
        sqlite3_vfs_register(&vfs, 1);
        failAt(0);
    }
    ~FaultyDisk() {
        sqlite3_vfs_unregister(&vfs);
        sqlite3_vfs_register(real, 1);
    }
    /// The call with this number, from 1 and counted anew, fails with the library's code; 0: none does.
    static void failAt(int call, int with = SQLITE_OK, bool andAllThatFollow = false) {
        calls = failures = 0;
        failingCall = call;
        code = with;
        isLasting = andAllThatFollow;
    }
    static bool fails() {
        const bool isPlanned = ++calls == failingCall || (isLasting && calls > failingCall);
        failures += isPlanned;
        return isPlanned;
    }
    template <auto Method, typename... Args>
    static int orFail(sqlite3_file* file, Args... args) {
        const auto* methods = reinterpret_cast<const Methods*>(file->pMethods);
        return fails() ? code : (methods->real->*Method)(file, args...);
    }
    static int open(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags, int* outFlags) {
        using M = sqlite3_io_methods;
        file->pMethods = nullptr;
        const int result = fails() ? SQLITE_CANTOPEN : real->xOpen(real, name, file, flags, outFlags);
        if (result != SQLITE_OK)
            return result;
        Methods methods{*file->pMethods, file->pMethods};
        methods.failing.xRead = orFail<&M::xRead>;
        methods.failing.xWrite = orFail<&M::xWrite>;
        methods.failing.xTruncate = orFail<&M::xTruncate>;
        methods.failing.xSync = orFail<&M::xSync>;
        methods.failing.xFileSize = orFail<&M::xFileSize>;
        methods.failing.xShmMap = orFail<&M::xShmMap>;
        file->pMethods = &methodsOf.try_emplace(file->pMethods, methods).first->second.failing;
        return SQLITE_OK;
    }
};

void fill(SQLiteStore& store, int rows) {
    for (int number = 0; number < rows; ++number) {
        store.enqueueUploadTask(storedTask(number, heartbeat, 100, start + number));
        store.upsertActivitySegment({"2024-05-01", number, 1, 1, 1, 1});
        store.saveActiveSession(storedSession(number, start, std::nullopt));
        store.appendSessionHistory(storedSession(number, start, start + 5));
    }
}

/// Whether each table takes a row and gives it back.
bool works(SQLiteStore& store) {
    const UploadTask task = storedTask(90001, startSession, 1000, start - 1e6);
    store.enqueueUploadTask(task);
    const bool hasTask = store.nextUploadTask(start) == task;
    store.markUploadTaskCompleted(task.id);
    const Session session = storedSession(90001, start + 1e6, start + 1e6 + 9);
    store.saveActiveSession(session);
    store.appendSessionHistory(session);
    const auto active = store.loadAllActiveSessions();
    store.clearActiveSession(session.id);
    store.upsertActivitySegment({"2000-01-01", 5, 1, 2, 3, 4});
    const auto segments = store.pendingActivitySegmentsForUpload("2000-01-01", 6);
    store.markActivitySegmentUploaded("2000-01-01", 5);
    return hasTask && std::ranges::find(active, session) != active.end() && segments.size() == 1 &&
           store.sessionHistory(start + 1e6, start + 1e6 + 1).size() == 1 &&
           store.pendingActivitySegmentsForUpload("2000-01-01", 6).empty();
}

struct SQLiteDamage : testing::Test, StoreWorld {
    /// A sound database with rows, closed.
    QByteArray begin(int rows) {
        fill(open(), rows);
        close();
        return contentOf(file);
    }
};

TEST_F(SQLiteDamage, SetsAFileAsideThatIsNoDatabase) {
    const QByteArray whole = begin(40);
    const auto with = [&](int offset, char byte) { return QByteArray(whole).replace(offset, 1, &byte, 1); };
    const std::pair<const char*, QByteArray> cases[] = {
        {"garbage", QByteArray(5000, 'x')},
        {"a truncated header", whole.left(50)},
        {"half a file", whole.left(whole.size() / 2)},
        {"another page size", with(16, 3)},
        {"a later format for writing", with(18, 9)},
        {"a later format for reading", with(19, 9)},
        {"a later format of the schema", with(47, 99)},
        {"another text encoding", with(59, 2)},
        {"no schema", QByteArray(whole).replace("CREATE INDEX", "CREATE IMDEX")},
        {"a lost column", QByteArray(whole).replace("active_seconds INTEGER", "active_sekonds INTEGER")},
    };
    for (const auto& [name, damaged] : cases) {
        overwrite(file, damaged);
        const LogCapture log;
        EXPECT_TRUE(works(open())) << name;
        EXPECT_EQ(log.lines(QtCriticalMsg).filter("set aside as").size(), 1) << name;
        EXPECT_EQ(log.lines().size(), 1) << name;
        EXPECT_EQ(contentOf(aside), damaged) << name;
        EXPECT_EQ(modeOf(aside), 0600U);
        EXPECT_TRUE(works(open()) && databasesAside() == 1) << name;
        close();
        ASSERT_TRUE(QFile::remove(aside));
    }
}

TEST_F(SQLiteDamage, SetsLogsAsideWithTheirFileAndTakesNoNameTwice) {
    begin(5);
    open().markUploadTaskCompleted(numberedId(1));
    const QByteArray log = contentOf(file + "-wal");
    ASSERT_FALSE(log.isEmpty());
    close();
    overwrite(file, "garbage");
    overwrite(file + "-wal", log);
    EXPECT_TRUE(works(open()));
    EXPECT_TRUE(contentOf(aside) == "garbage" && contentOf(aside + "-wal") == log);
    EXPECT_EQ(sql("SELECT count(*) FROM upload_queue"), "0");
    close();
    ASSERT_TRUE(QFile::remove(file) && QDir().mkpath(file + "/a folder"));
    EXPECT_TRUE(works(open()) && QDir(aside + "-2/a folder").exists());
}

TEST_F(SQLiteDamage, SurvivesRandomMutations) {
    const QByteArray whole = begin(60);
    std::mt19937 chance(20240229);
    const auto below = [&chance](qsizetype limit) { return qsizetype(chance() % quint64(limit)); };
    int replaced = 0;
    for (int trial = 0; trial < 120; ++trial) {
        QByteArray bytes = whole;
        bytes[below(trial % 4 == 0 ? bytes.size() : 4096)] ^= char(1 << below(8)); // the schema more often
        if (trial % 4 == 1)                                                        // a torn page
            bytes.replace(below(bytes.size() / 512) * 512, 512, QByteArray(512, char(below(256))));
        if (trial % 4 == 2)
            bytes.truncate(below(bytes.size()));
        StoreWorld world;
        ASSERT_TRUE(QDir().mkpath(world.folder));
        overwrite(world.file, bytes);
        const LogCapture log;
        works(world.open()); // damage that only use shows is mended or replaced here
        EXPECT_TRUE(works(*world.store) && works(world.open())) << trial;
        replaced += world.databasesAside() > 0;
    }
    EXPECT_TRUE(replaced > 40 && replaced < 110)
        << "harm was done, and what can be kept is kept: " << replaced;
}

TEST_F(SQLiteDamage, MendsAnIndexInUseWithoutLosingRows) {
    // In the index alone, the status of one row becomes another one; the row itself stays.
    overwrite(file, begin(40).replace("acme.testpending", "acme.testpendinh"));
    const LogCapture log;
    open();
    for (int number = 0; number < 40; ++number) {
        store->updateUploadTaskStatus(numberedId(number), UploadTaskStatus::failed);
        store->updateUploadTaskStatus(numberedId(number), UploadTaskStatus::pending);
    }
    EXPECT_GE(log.count("failed rc=11"), 1) << "the planted damage was met";
    EXPECT_TRUE(works(*store) && databasesAside() == 0);
    EXPECT_EQ(sql("SELECT count(*) FROM upload_queue; PRAGMA integrity_check"), "40 ok");
}

TEST(SQLiteFailingDisk, LosesNothingInSilence) {
    FaultyDisk disk;
    int planted = 0;
    const std::pair<int, bool> kinds[] = {
        {SQLITE_IOERR_WRITE, false}, {SQLITE_IOERR_WRITE, true}, {SQLITE_FULL, false}, {SQLITE_FULL, true}};
    for (const auto& [code, isLasting] : kinds) {
        for (int call = 1;; ++call) {
            disk.failAt(0);
            StoreWorld world;
            fill(world.open(), 2);
            world.close();
            const LogCapture log;
            disk.failAt(call, code, isLasting);
            const UploadTask task = storedTask(100, heartbeat, 500);
            world.open().enqueueUploadTask(task);
            world.store->upsertActivitySegment({"2024-05-02", 1, 1, 1, 1, 1});
            world.store->nextUploadTask(start);
            world.store->markUploadTaskFailed(task.id, 1, start);
            if (disk.failures == 0)
                break;
            ++planted;
            disk.failAt(0);
            const bool isSilent = log.lines().isEmpty();
            ASSERT_TRUE(works(world.open())) << call;
            ASSERT_EQ(world.databasesAside(), 0) << call << ": a sound file was set aside";
            ASSERT_GE(world.store->pendingUploadTaskIds(task.sessionId, {heartbeat}).size(), 2U);
            if (isSilent) {
                const auto kept = world.store->nextUploadTask(start);
                ASSERT_TRUE(kept && kept->id == task.id && kept->retryCount == 1) << call;
                ASSERT_EQ(world.store->pendingActivitySegmentsForUpload("2024-05-02", 2).size(), 3U) << call;
            }
        }
    }
    EXPECT_GT(planted, 40);
}

TEST(SQLiteFailingDisk, IsToldOnceUntilItWorksAgain) {
    FaultyDisk disk;
    StoreWorld world;
    world.open();
    const LogCapture log;
    for (const bool fails : {true, true, true, false}) {
        disk.failAt(fails, SQLITE_FULL, fails);
        world.store->saveActiveSession(storedSession(1, start, std::nullopt));
    }
    EXPECT_TRUE(log.count("failed rc=13") == 1 && log.count("works again after 3 failures") == 1);
    EXPECT_TRUE(world.store->loadActiveSession());
}

TEST_F(SQLiteDamage, WithoutAFileEverythingIsEmpty) {
    overwrite(folder, "in the way");
    const LogCapture log;
    EXPECT_FALSE(works(open()) || store->nextUploadTask(start) || store->loadActiveSession());
    EXPECT_EQ(log.lines(QtCriticalMsg).filter("SQLiteStore: failed to open DB rc=14").size(), 1);
    EXPECT_EQ(store->cleanupUnattributableData("2024-01-01"), 0);
    EXPECT_EQ(contentOf(folder), "in the way");
}

/// Rights do not bind root, which for the test's length works as another user.
struct OrdinaryUser {
    OrdinaryUser() { EXPECT_EQ(::geteuid() == 0 ? ::seteuid(65534) : 0, 0); }
    ~OrdinaryUser() { EXPECT_EQ(::seteuid(::getuid()), 0); }
};

TEST(SQLiteRights, AReadOnlyFolderKeepsItsFile) {
    const OrdinaryUser user;
    StoreWorld world;
    fill(world.open(), 3);
    world.close();
    const QByteArray whole = contentOf(world.file);
    ASSERT_TRUE(setMode(world.folder, 0500));
    const LogCapture log;
    EXPECT_FALSE(works(world.open())) << "the rights bind";
    EXPECT_GT(log.count("SQLiteStore: failed"), 0);
    world.close();
    EXPECT_EQ(contentOf(world.file), whole);
    ASSERT_TRUE(setMode(world.folder, 0700));
    EXPECT_TRUE(works(world.open()) && world.databasesAside() == 0);
    EXPECT_EQ(world.store->loadAllActiveSessions().size(), 3U);
}

TEST(SQLiteRights, FilesAreTheUsersOwnWhateverTheMask) {
    for (const mode_t mask : {0000, 0022, 0277}) {
        StoreWorld world;
        const mode_t before = ::umask(mask);
        fill(world.open(), 1);
        ::umask(before);
        for (const char* suffix : {"", "-wal", "-shm"})
            EXPECT_EQ(modeOf(world.file + suffix), 0600U) << suffix << " mask " << mask;
        world.close();
        ASSERT_TRUE(setMode(world.file, 0644));
        fill(world.open(), 1);
        EXPECT_TRUE(modeOf(world.file) == 0600 && modeOf(world.file + "-wal") == 0600);
    }
}

TEST_F(SQLiteDamage, BringsOlderFilesUpToDate) {
    const QByteArray first = // of the first versions: no company, no due time
        "DROP INDEX idx_upload_queue_lookup; DROP INDEX idx_upload_queue_order; DROP INDEX "
        "idx_sessions_domain;"
        "DROP INDEX idx_session_history_domain; ALTER TABLE sessions DROP COLUMN domain_key;"
        "ALTER TABLE session_history DROP COLUMN domain_key; ALTER TABLE upload_queue DROP COLUMN "
        "next_attempt_at;";
    const std::tuple<QByteArray, const char*, int> cases[] = {
        {first + "ALTER TABLE upload_queue DROP COLUMN domain_key;", "global global global 0.0", 1},
        {first, "global global acme.test 0.0", 0}, // one of the later columns is there
    };
    for (const auto& [changes, columns, unattributable] : cases) {
        begin(1);
        sql(changes);
        open();
        EXPECT_EQ(sql("SELECT domain_key FROM sessions; SELECT domain_key FROM session_history;"
                      "SELECT domain_key FROM upload_queue; SELECT next_attempt_at FROM upload_queue"),
                  columns);
        EXPECT_EQ(store->cleanupUnattributableData("2024-01-01"), unattributable);
        EXPECT_EQ(sql("SELECT count(*) FROM sqlite_master WHERE name LIKE 'idx_%'; PRAGMA journal_mode"),
                  "5 wal");
        EXPECT_TRUE(works(*store) && databasesAside() == 0);
        close();
        ASSERT_TRUE(QFile::remove(file));
    }
}

} // namespace

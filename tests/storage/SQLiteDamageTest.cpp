#include "FaultyDisk.h"
#include "StoreWorld.h"

#include <random>
#include <sqlite3.h>
#include <unistd.h>

namespace {

void fill(SQLiteStore& store, int rows) {
    for (int number = 0; number < rows; ++number) {
        store.enqueueUploadTask(storedTask(number, heartbeat, 100, start + number));
        store.upsertActivitySegment({"2024-05-01", number, 1, 1, 1, 1});
        store.saveActiveSession(storedSession(number, start, std::nullopt));
        store.appendSessionHistory(storedSession(number, start, start + 5));
    }
}

/// The first operation that does not answer as it must when the store works; empty when all do.
std::string broken(SQLiteStore& store) {
    UploadTask task = storedTask(90001, startSession, 1000, start - 1e6);
    task.filePath = "/tmp/works.jpg";
    store.enqueueUploadTask(task);
    if (store.nextUploadTask(start) != task)
        return "enqueue, next";
    store.updateUploadTaskStatus(task.id, UploadTaskStatus::inProgress);
    if (!store.pendingUploadFilePaths().contains("/tmp/works.jpg") ||
        store.pendingUploadTaskIds(task.sessionId, {task.type}).empty())
        return "update, paths, ids";
    store.resetStaleInProgressTasks();
    store.markUploadTaskFailed(task.id, 1, start + 1e6);
    const auto later = store.nextUploadTask(start + 1e6);
    if (!later || later->id != task.id || later->retryCount != 1)
        return "reset, failed";
    store.markUploadTaskCompleted(task.id);
    if (store.hasScreenshotTask(task.sessionId, "/tmp/works.jpg") ||
        store.nextUploadTask(start + 1e6).value_or(UploadTask()).id == task.id)
        return "completed";
    const Session session = storedSession(90001, start + 1e6, start + 1e6 + 9);
    store.saveActiveSession(session);
    store.appendSessionHistory(session);
    const auto active = store.loadAllActiveSessions();
    if (std::ranges::find(active, session) == active.end() ||
        store.sessionHistory(start + 1e6, start + 1e6 + 1).size() != 1)
        return "sessions";
    store.clearActiveSession(session.id);
    store.upsertActivitySegment({"2000-01-01", 5, 1, 2, 3, 4});
    const auto segments = store.pendingActivitySegmentsForUpload("2000-01-01", 6);
    store.markActivitySegmentUploaded("2000-01-01", 5);
    if (segments.size() != 1 || !store.pendingActivitySegmentsForUpload("2000-01-01", 6).empty())
        return "segments";
    return "";
}

struct SQLiteDamage : testing::Test, StoreWorld {
    QString aside = file + ".unreadable-20231114-221320";

    /// A sound database with rows, closed.
    QByteArray begin(int rows) {
        fill(open(), rows);
        close();
        return contentOf(file);
    }
};

TEST_F(SQLiteDamage, SetsAFileAsideThatIsNoDatabase) {
    const QByteArray whole = begin(40);
    const auto with = [whole](int offset, char byte) {
        QByteArray changed = whole;
        changed[offset] = byte;
        return changed;
    };
    const std::pair<const char*, QByteArray> cases[] = {
        {"garbage", QByteArray(5000, 'x')},
        {"a short text", "hello"},
        {"a truncated header", whole.left(50)},
        {"half a file", whole.left(whole.size() / 2)},
        {"another magic", with(3, '!')},
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
        EXPECT_EQ(broken(open()), "") << name;
        EXPECT_EQ(log.count("set aside as"), 1) << name;
        EXPECT_EQ(log.lines(QtCriticalMsg).size(), log.lines().size()) << name;
        EXPECT_EQ(contentOf(aside), damaged) << name;
        EXPECT_EQ(modeOf(aside), 0600U);
        EXPECT_EQ(broken(reopen()), "") << name;
        EXPECT_EQ(setAside(), 1) << name;
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
    EXPECT_EQ(broken(open()), "");
    EXPECT_EQ(contentOf(aside), "garbage");
    EXPECT_EQ(contentOf(aside + "-wal"), log);
    EXPECT_EQ(sql("SELECT count(*) FROM upload_queue"), "0");
    close();
    ASSERT_TRUE(QFile::remove(file) && QDir().mkpath(file + "/a folder"));
    EXPECT_EQ(broken(open()), "");
    EXPECT_TRUE(QDir(aside + "-2/a folder").exists());
}

TEST_F(SQLiteDamage, SurvivesRandomMutations) {
    const QByteArray whole = begin(60);
    std::mt19937 chance(20240229);
    const auto below = [&chance](qsizetype limit) { return qsizetype(chance() % quint64(limit)); };
    int replaced = 0;
    for (int trial = 0; trial < 120; ++trial) {
        QByteArray bytes = whole;
        if (trial % 4 == 0) { // one bit, anywhere in the file
            bytes[below(bytes.size())] ^= char(1 << below(8));
        } else if (trial % 4 == 1) { // a few bytes in the header and the schema
            for (int i = 0; i < 3; ++i)
                bytes[below(4096)] = char(below(256));
        } else if (trial % 4 == 2) { // a torn page
            bytes.replace(below(bytes.size() / 512) * 512, 512, QByteArray(512, char(below(256))));
        } else {
            bytes.truncate(below(bytes.size()));
        }
        StoreWorld world;
        ASSERT_TRUE(QDir().mkpath(world.folder));
        overwrite(world.file, bytes);
        const LogCapture log;
        broken(world.open()); // damage that only use shows is mended or replaced here
        EXPECT_EQ(broken(*world.store), "") << trial;
        EXPECT_EQ(broken(world.reopen()), "") << trial;
        replaced += world.setAside() > 0;
    }
    EXPECT_GT(replaced, 40) << "the mutations did harm";
    EXPECT_LT(replaced, 110) << "what can be kept is kept";
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
    EXPECT_EQ(broken(*store), "");
    EXPECT_GE(log.count("failed rc=11"), 1) << "the planted damage was met";
    EXPECT_EQ(setAside(), 0);
    EXPECT_EQ(sql("SELECT count(*) FROM upload_queue"), "40");
    EXPECT_EQ(sql("PRAGMA integrity_check"), "ok");
}

TEST(SQLiteFailingDisk, LosesNothingInSilence) {
    FaultyDisk disk;
    int planted = 0;
    const std::pair<int, bool> kinds[] = {
        {SQLITE_IOERR_WRITE, false}, {SQLITE_IOERR_WRITE, true}, {SQLITE_FULL, false}, {SQLITE_FULL, true}};
    for (const auto& [code, isLasting] : kinds) {
        for (int call = 1;; ++call) {
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
            const bool hasFailed = disk.failures() > 0;
            disk.failAt(0);
            if (!hasFailed)
                break;
            ++planted;
            const bool isSilent = log.lines().isEmpty();
            ASSERT_EQ(broken(world.reopen()), "") << call;
            ASSERT_EQ(world.setAside(), 0) << call << ": a sound file was set aside";
            ASSERT_GE(world.store->pendingUploadTaskIds(task.sessionId, {heartbeat}).size(), 2U);
            if (isSilent) {
                const auto kept = world.store->nextUploadTask(start);
                ASSERT_TRUE(kept && kept->id == task.id && kept->retryCount == 1) << call;
                ASSERT_FALSE(world.store->pendingActivitySegmentsForUpload("2024-05-02", 2).empty()) << call;
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
    disk.failAt(1, SQLITE_FULL, true);
    for (int i = 0; i < 10; ++i)
        world.store->saveActiveSession(storedSession(1, start, std::nullopt));
    EXPECT_EQ(log.count("SQLiteStore: failed rc=13"), 1) << log.lines().join('\n').toStdString();
    disk.failAt(0);
    world.store->saveActiveSession(storedSession(1, start, std::nullopt));
    EXPECT_EQ(log.count("works again after 10 failures"), 1);
    EXPECT_TRUE(world.store->loadActiveSession());
}

TEST_F(SQLiteDamage, WithoutAFileEverythingIsEmpty) {
    overwrite(folder, "in the way");
    const LogCapture log;
    open();
    EXPECT_EQ(log.lines(QtCriticalMsg).filter("SQLiteStore: failed to open DB rc=14").size(), 1);
    fill(*store, 3);
    store->clearActiveSession(std::nullopt);
    EXPECT_TRUE(store->loadAllActiveSessions().empty() &&
                store->sessionHistory(start - 1, start + 1).empty());
    EXPECT_FALSE(store->nextUploadTask(start) || store->hasActivitySegmentTask());
    EXPECT_FALSE(store->hasScreenshotTask(numberedId(1), "x"));
    EXPECT_TRUE(store->pendingUploadFilePaths().isEmpty());
    EXPECT_TRUE(store->pendingUploadTaskIds(numberedId(7), {heartbeat}).empty());
    EXPECT_TRUE(store->pendingActivitySegmentsForUpload("2024-05-02", 0).empty());
    EXPECT_EQ(store->segmentActivitySummary(start, start + 1e6).nonIdlePercentSum, 0);
    EXPECT_EQ(store->cleanupUnattributableData("2024-01-01"), 0);
    EXPECT_EQ(contentOf(folder), "in the way");
}

/// Rights do not bind root, which for the test's length works as another user.
struct OrdinaryUser {
    OrdinaryUser() {
        constexpr uid_t nobody = 65534;
        EXPECT_EQ(::geteuid() == 0 ? ::seteuid(nobody) : 0, 0);
    }
    ~OrdinaryUser() { EXPECT_EQ(::seteuid(::getuid()), 0); }
};

TEST(SQLiteRights, AReadOnlyFolderKeepsItsFile) {
    const OrdinaryUser user;
    StoreWorld world;
    fill(world.open(), 3);
    world.close();
    const QByteArray whole = contentOf(world.file);
    ASSERT_EQ(::chmod(QFile::encodeName(world.folder).constData(), 0500), 0);
    const LogCapture log;
    fill(world.open(), 3);
    EXPECT_GT(log.count("SQLiteStore: failed"), 0) << "the rights bind";
    world.close();
    EXPECT_EQ(contentOf(world.file), whole);
    ASSERT_EQ(::chmod(QFile::encodeName(world.folder).constData(), 0700), 0);
    EXPECT_EQ(broken(world.open()), "");
    EXPECT_EQ(world.setAside(), 0);
    EXPECT_EQ(world.store->loadAllActiveSessions().size(), 3U);
}

TEST(SQLiteRights, FilesAreTheUsersOwnWhateverTheMask) {
    for (const mode_t mask : {0000, 0022, 0277}) {
        StoreWorld world;
        const mode_t before = ::umask(mask);
        fill(world.open(), 1);
        ::umask(before);
        EXPECT_EQ(modeOf(world.folder), 0700U);
        for (const char* suffix : {"", "-wal", "-shm"})
            EXPECT_EQ(modeOf(world.file + suffix), 0600U) << suffix << " mask " << mask;
        world.close();
        ASSERT_EQ(::chmod(QFile::encodeName(world.file).constData(), 0644), 0);
        fill(world.open(), 1);
        for (const char* suffix : {"", "-wal"})
            EXPECT_EQ(modeOf(world.file + suffix), 0600U) << suffix;
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
        {first + "ALTER TABLE upload_queue DROP COLUMN domain_key;", "global|global|global|0.0", 2},
        {first, "global|global|acme.test|0.0", 0}, // one of the later columns is there
    };
    for (const auto& [changes, columns, unattributable] : cases) {
        begin(0);
        open().enqueueUploadTask(storedTask(1, heartbeat));
        store->enqueueUploadTask(storedTask(2, heartbeat));
        store->saveActiveSession(storedSession(1, start, std::nullopt));
        store->appendSessionHistory(storedSession(1, start, start + 5));
        close();
        sql(changes);
        EXPECT_EQ(broken(open()), "");
        EXPECT_EQ(sql("SELECT s.domain_key, h.domain_key, u.domain_key, next_attempt_at FROM sessions s,"
                      " session_history h, upload_queue u WHERE h.id LIKE '%-000000000001' LIMIT 1"),
                  columns);
        EXPECT_EQ(store->cleanupUnattributableData("2024-01-01"), unattributable);
        EXPECT_EQ(sql("SELECT count(*) FROM sqlite_master WHERE name LIKE 'idx_%'"), "5");
        EXPECT_EQ(sql("PRAGMA journal_mode"), "wal");
        EXPECT_EQ(setAside(), 0);
        close();
        ASSERT_TRUE(QFile::remove(file));
    }
}

} // namespace

#include "tests/support/FullDisk.h"
#include "tests/support/StoreWorld.h"

#include <random>

namespace {

/// A disk that is dying: after so many reads while this lives, each further one fails.
struct DyingDisk {
    static inline int readsLeft;

    explicit DyingDisk(int reads) {
        readsLeft = reads;
        readWith([](int file, void* into, std::size_t size, off_t offset) {
            if (readsLeft-- > 0)
                return ::pread(file, into, size, offset);
            errno = EIO;
            return ssize_t(-1);
        });
    }
    ~DyingDisk() { readWith(nullptr); }

    static void readWith(ssize_t (*read)(int, void*, std::size_t, off_t)) {
        sqlite3_vfs* const disk = sqlite3_vfs_find(nullptr);
        for (const char* call : {"pread", "pread64"}) // the library was built with one of them
            disk->xSetSystemCall(disk, call, reinterpret_cast<sqlite3_syscall_ptr>(read));
    }
};

/// Whether each table takes a row and gives it back.
bool works(SQLiteStore& store) {
    const UploadTask task = storedTask(90001, startSession, 1000, start - 1e6);
    store.enqueueUploadTask(task);
    const bool hasTask = store.nextUploadTask(start) == task;
    store.markUploadTaskCompleted(task.id);
    const Session session = storedSession(90001, start + 1e6, start + 1e6 + 9);
    const Session running = storedSession(90002, start + 1e6, start + 1e6 + 9);
    store.saveActiveSession(running);
    store.appendSessionHistory(session);
    const auto active = store.loadAllActiveSessions();
    store.clearActiveSession(running.id);
    store.upsertActivitySegment({"2000-01-01", 5, 1, 2, 3, 4});
    const auto segments = store.pendingActivitySegmentsForUpload("2000-01-01", 6);
    store.markActivitySegmentsUploaded(segments, "acme.test");
    return hasTask && std::ranges::find(active, running) != active.end() && segments.size() == 1 &&
           store.sessionHistory(start + 1e6, start + 1e6 + 1).size() == 1 &&
           store.pendingActivitySegmentsForUpload("2000-01-01", 6).empty();
}

struct SQLiteDamage : testing::Test, StoreWorld {
    const QString aside = database + ".unreadable-20231114-221320";

    /// Leaves nothing but these bytes as the database.
    void beginWith(const QByteArray& bytes) {
        store.reset();
        QDir(folder).removeRecursively();
        overwrite(database, bytes);
    }
    /// Leaves nothing but a sound database with rows, closed; its bytes.
    QByteArray begin(int rows) {
        beginWith("");
        open();
        for (int number = 0; number < rows; ++number) {
            store->enqueueUploadTask(storedTask(number, heartbeat, 100, start + number));
            store->upsertActivitySegment({"2024-05-01", number, 1, 1, 1, 1});
            store->saveActiveSession(storedSession(number, start, std::nullopt));
            store->appendSessionHistory(storedSession(1000 + number, start, start + 5));
        }
        store.reset();
        return contentOf(database);
    }
    qsizetype databasesAside() const { return QDir(folder).entryList({"*.unreadable-*[0-9]"}).size(); }
};

TEST_F(SQLiteDamage, SetsAFileAsideThatIsNoDatabase) {
    const QByteArray whole = begin(40);
    const std::pair<const char*, QByteArray> cases[] = {
        {"garbage", QByteArray(5000, 'x')},
        {"half a file", whole.left(whole.size() / 2)},
        {"a later format for writing", QByteArray(whole).replace(18, 1, "\x09")},
        {"no schema", QByteArray(whole).replace("CREATE INDEX", "CREATE IMDEX")},
        {"a lost column", QByteArray(whole).replace("active_seconds INTEGER", "active_sekonds INTEGER")},
    };
    for (const auto& [name, damaged] : cases) {
        SCOPED_TRACE(name);
        beginWith(damaged);
        const LogCapture log;
        EXPECT_TRUE(works(open()));
        EXPECT_TRUE(log.lines().size() == 1 && log.lines(QtCriticalMsg).value(0).contains("set aside as"));
        EXPECT_TRUE(contentOf(aside) == damaged && modeOf(aside) == 0600);
        EXPECT_TRUE(works(open()) && databasesAside() == 1);
    }
}

TEST_F(SQLiteDamage, SetsLogsAsideWithTheirFileAndTakesNoNameTwice) {
    begin(5);
    open().markUploadTaskCompleted(numberedId(1));
    const QByteArray log = contentOf(database + "-wal");
    beginWith("garbage");
    overwrite(database + "-wal", log);
    EXPECT_TRUE(works(open()));
    EXPECT_TRUE(contentOf(aside) == "garbage" && !log.isEmpty() && contentOf(aside + "-wal") == log);
    EXPECT_EQ(sql("SELECT count(*) FROM upload_queue"), "0");
    store.reset();
    ASSERT_TRUE(QFile::remove(database) && QDir().mkpath(database + "/a folder"));
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
        beginWith(bytes);
        const LogCapture log;
        works(open()); // damage that only use shows is mended or replaced here
        EXPECT_TRUE(works(*store) && works(open())) << trial;
        replaced += databasesAside() > 0;
    }
    EXPECT_TRUE(replaced > 40 && replaced < 110) << "harm is done, what can be kept is kept: " << replaced;
}

TEST_F(SQLiteDamage, MendsAnIndexInUseWithoutLosingRows) {
    // In the index alone, the status of one row becomes another one; the row itself stays.
    beginWith(begin(40).replace("acme.testpending", "acme.testpendinh"));
    const LogCapture log;
    open();
    for (int number = 0; number < 40; ++number) {
        store->updateUploadTaskStatus(numberedId(number), UploadTaskStatus::failed);
        store->updateUploadTaskStatus(numberedId(number), UploadTaskStatus::pending);
    }
    EXPECT_GE(log.count("failed rc=11"), 1) << "the planted damage was met";
    EXPECT_TRUE(works(*store) && databasesAside() == 0);
    EXPECT_EQ(sql("SELECT count(*) FROM upload_queue; PRAGMA integrity_check"), "40, ok");
}

TEST_F(SQLiteDamage, MendsAnIndexThatATransactionMeets) {
    beginWith(begin(40).replace("acme.testpending", "acme.testpendinh"));
    const LogCapture log;
    open();
    const auto touchAll = [this] {
        return store->transaction([this] {
            bool isDone = true;
            for (int number = 0; number < 40 && isDone; ++number)
                isDone = store->enqueueUploadTask(storedTask(number, heartbeat, 100, start + number));
            return isDone;
        });
    };
    EXPECT_TRUE(touchAll());
    EXPECT_EQ(log.count("failed rc=11"), 1) << "the planted damage was met";
    EXPECT_FALSE(touchAll()) << "mended";
    EXPECT_TRUE(works(*store) && databasesAside() == 0);
    EXPECT_EQ(sql("SELECT count(*) FROM upload_queue; PRAGMA integrity_check"), "40, ok");
}

TEST_F(SQLiteDamage, ARolledBackTransactionTakesNoTablesAlong) {
    const LogCapture log;
    std::optional<FullDisk> disk(40000); // room for the first of them
    open();
    store->transaction([&] {
        disk.reset(); // the transaction has begun
        works(*store);
        return false;
    });
    EXPECT_FALSE(disk);
    EXPECT_TRUE(works(*store));
}

TEST_F(SQLiteDamage, AFullDiskLosesNothingInSilence) {
    const UploadTask task = storedTask(100, heartbeat, 500);
    int trials = 0;
    for (bool isFull = true; isFull; ++trials) {
        begin(2);
        const LogCapture log;
        {
            const FullDisk disk(1000 * trials);
            open().enqueueUploadTask(task);
            store->upsertActivitySegment({"2024-05-02", 1, 1, 1, 1, 1});
            store->markUploadTaskFailed(task.id, 1, start);
        }
        isFull = !log.lines().isEmpty();
        ASSERT_TRUE(works(open())) << trials;
        ASSERT_EQ(databasesAside(), 0) << trials << ": a sound file was set aside";
        ASSERT_GE(store->pendingUploadTaskIds(task.sessionId, {heartbeat}, "acme.test")->size(), 2U);
        if (!isFull) {
            EXPECT_EQ(store->nextUploadTask(start)->retryCount, 1);
            EXPECT_EQ(store->pendingActivitySegmentsForUpload("2024-05-02", 2).size(), 3U);
        }
    }
    EXPECT_GT(trials, 30);
}

TEST_F(SQLiteDamage, AFullDiskGivesAFirstDatabaseItsTablesWhenThereIsRoom) {
    const LogCapture log;
    {
        const FullDisk disk(0);
        EXPECT_FALSE(works(open()));
    }
    EXPECT_TRUE(works(*store) && databasesAside() == 0);
}

TEST_F(SQLiteDamage, ADyingDiskIsNoReasonToSetASoundFileAside) {
    for (int reads = 0; reads < 40; ++reads) {
        begin(20);
        {
            const DyingDisk disk(reads);
            const LogCapture log;
            works(open());
            store.reset();
            EXPECT_TRUE(disk.readsLeft < 0 || reads > 9) << "it was met";
        }
        EXPECT_TRUE(works(open()) && databasesAside() == 0) << reads;
        EXPECT_GE(store->loadAllActiveSessions().size(), 20U) << reads;
    }
}

TEST_F(SQLiteDamage, WithoutAFileEverythingIsEmptyUntilThereIsOne) {
    overwrite(folder, "in the way");
    const LogCapture log;
    EXPECT_FALSE(works(open()));
    machine.timeline.advance(1);
    EXPECT_FALSE(works(*store));
    EXPECT_EQ(log.count("SQLiteStore: failed to open DB rc=14"), 1);
    EXPECT_EQ(contentOf(folder), "in the way");
    const auto write = [this] { return store->transaction([this] { return works(*store); }); };
    EXPECT_EQ(write(), SQLiteStore::Failure::notWritable);
    QFile::remove(folder);
    machine.timeline.advance(1);
    EXPECT_EQ(write(), std::nullopt) << "opening is tried again";
}

TEST_F(SQLiteDamage, ADamagedFileThatIsGoneIsReplacedOnceThereIsPlace) {
    begin(1);
    UploadTask large = storedTask(1, heartbeat);
    large.jsonPayload = QByteArray(8'000'000, 'x'); // more than the library caches
    open().enqueueUploadTask(large);
    open();
    QFile file(database);
    ASSERT_TRUE(file.open(QFile::ReadWrite) && file.seek(4096));
    file.write(QByteArray(int(file.size()) - 4096, 'x'));
    file.close();
    QDir(folder).removeRecursively();
    overwrite(folder, "in the way");
    const LogCapture log;
    for (int attempt = 0; attempt < 3; ++attempt)
        EXPECT_FALSE(works(*store)) << attempt;
    EXPECT_EQ(log.count("cannot be set aside"), 1);
    QFile::remove(folder);
    machine.timeline.advance(1);
    EXPECT_TRUE(works(*store));
}

TEST_F(SQLiteDamage, BringsOlderFilesUpToDate) {
    begin(1);
    sql("DROP INDEX idx_upload_queue_lookup; DROP INDEX idx_upload_queue_order;"
        "DROP INDEX idx_sessions_domain; DROP INDEX idx_session_history_domain;"
        "ALTER TABLE sessions DROP COLUMN domain_key; ALTER TABLE session_history DROP COLUMN domain_key;"
        "ALTER TABLE upload_queue DROP COLUMN next_attempt_at;"
        "ALTER TABLE activity_segments DROP COLUMN timezone");
    open();
    EXPECT_EQ(sql("SELECT domain_key FROM sessions; SELECT domain_key FROM session_history;"
                  "SELECT domain_key, next_attempt_at FROM upload_queue;"
                  "SELECT active_seconds, timezone FROM activity_segments"),
              "global, global, acme.test 0.0, 1 "); // one of the later columns was there
    EXPECT_TRUE(works(*store) && databasesAside() == 0);
}

} // namespace

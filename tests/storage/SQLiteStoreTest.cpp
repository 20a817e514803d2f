#include "tests/support/StoreWorld.h"

#include <semaphore>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

static int syncs; ///< Calls of the library, which finds this program's functions before the system's.
extern "C" int fdatasync(int file) {
    ++syncs;
    return static_cast<int>(::syscall(SYS_fdatasync, file));
}
extern "C" int fsync(int file) {
    ++syncs;
    return static_cast<int>(::syscall(SYS_fsync, file));
}

struct SQLite : testing::Test, StoreWorld {
    SQLite() { open(); }
    void enqueue(std::initializer_list<UploadTask> tasks) {
        for (const UploadTask& task : tasks)
            store->enqueueUploadTask(task);
    }
};

TEST_F(SQLite, KeepsSnapshotsByCompanyNewestFirst) {
    const Session first = storedSession(1, start + 0.123456789, std::nullopt);
    const Session second = storedSession(2, start, start + 5);
    for (const Session& saved : {first, second, first}) {
        store->saveActiveSession(saved);
        machine.timeline.advance(1);
    }
    EXPECT_EQ(store->loadActiveSession(), first);
    sql("INSERT INTO sessions VALUES ('a','acme.test','','','',x'7b7d',9e9),"
        "('b','acme.test','','','',x'',9e9),('c','acme.test','','','','text',9e9)");
    useCompany("other.test");
    EXPECT_FALSE(store->loadActiveSession());
    store->clearActiveSession(first.id);
    store->clearActiveSession(std::nullopt);
    useCompany("acme.test");
    EXPECT_EQ(store->loadAllActiveSessions(), (std::vector{first, second})) << "unreadable ones are skipped";
    store->clearActiveSession(std::nullopt);
    EXPECT_TRUE(store->loadAllActiveSessions().empty());
}

TEST_F(SQLite, WritesATransactionWholeOrNotAtAll) {
    const Session session = storedSession(1, start, start + 5);
    const auto file = [&] {
        return store->transaction([&] {
            return store->appendSessionHistory(session) && store->enqueueUploadTask(storedTask(1, heartbeat)) &&
                   store->clearActiveSession(session.id);
        });
    };
    const QByteArray rows = "SELECT (SELECT count(*) FROM sessions), (SELECT count(*) FROM session_history), "
                            "(SELECT count(*) FROM upload_queue)";
    store->saveActiveSession(session);
    for (const QByteArray write : {"INSERT ON session_history", "INSERT ON upload_queue", "DELETE ON sessions"}) {
        sql("CREATE TRIGGER t BEFORE " + write + " BEGIN SELECT RAISE(ABORT, 'no'); END");
        EXPECT_EQ(file(), SQLiteStore::Failure::other) << write.constData();
        EXPECT_EQ(sql(rows), "1 0 0") << write.constData();
        sql("DROP TRIGGER t");
    }
    for ([[maybe_unused]] const int again : {1, 2}) { // as after a commit that reported an error
        EXPECT_EQ(file(), std::nullopt);
        EXPECT_EQ(sql(rows), "0 1 1");
    }
}

TEST_F(SQLite, HistoryIsNotOverwrittenByAnOlderState) {
    Session older = storedSession(1, start, std::nullopt);
    const Session finished = storedSession(1, start, start + 5);
    store->saveActiveSession(older);
    store->appendSessionHistory(finished);
    EXPECT_FALSE(store->loadActiveSession()) << "it is finished";
    older.intervals.back().stoppedAt = start + 40000;
    store->appendSessionHistory(older);
    EXPECT_EQ(store->sessionHistory(start, start + 1).front().totalSeconds, 5);
}

TEST_F(SQLite, WaitsShortlyForAnotherProcessAndSaysSo) {
    for (const auto& [heldFor, failure] :
         {std::pair(std::chrono::milliseconds(15), std::optional<SQLiteStore::Failure>()),
          {std::chrono::milliseconds(2000), SQLiteStore::Failure::busy}}) {
        sqlite3* other = nullptr;
        ASSERT_EQ(sqlite3_open(QFile::encodeName(database).constData(), &other), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
        std::binary_semaphore isOver{0};
        std::thread holder([&, until = heldFor] {
            EXPECT_TRUE(isOver.try_acquire_for(until) || !failure);
            sqlite3_close(other);
        });
        EXPECT_EQ(store->transaction([&] { return store->enqueueUploadTask(storedTask(1, heartbeat)); }), failure);
        isOver.release();
        holder.join();
    }
}

TEST_F(SQLite, SyncsEveryCommitToTheDisk) {
    for (const int number : {1, 2, 3}) {
        syncs = 0;
        store->enqueueUploadTask(storedTask(number, heartbeat));
        EXPECT_GE(syncs, 1) << "a power loss takes no row that a call returned from";
    }
}

TEST_F(SQLite, TellsTheHistoryOfARange) {
    Session frozen = storedSession(1, start - 100, start - 50);
    frozen.reportedTotalSeconds = 7;
    const Session closed = storedSession(2, start - 200, start - 170);
    Session middleOpen = storedSession(3, start - 90, std::nullopt);
    middleOpen.intervals.push_back({numberedId(2005), start - 40, start - 30});
    for (const Session& session : {frozen, closed, closed, middleOpen})
        store->appendSessionHistory(session);
    const std::vector<SQLiteStore::SessionSummaryRow> rows{{"Project 2", 30, 2, start - 200, closed.id},
                                                           {"Project 1", 7, 1, start - 100, frozen.id},
                                                           {"Project 3", 70, 3, start - 90, middleOpen.id}};
    EXPECT_EQ(store->sessionHistory(start - 200, start), rows);
    EXPECT_EQ(store->sessionHistory(start - 200, start - 100).size(), 1U) << "the end is not in it";
    useCompany("other.test");
    EXPECT_TRUE(store->sessionHistory(start - 1000, start + 1000).empty());
}

TEST_F(SQLite, GivesTheMostUrgentDueTaskOfItsCompany) {
    UploadTask urgent = storedTask(1, startSession, 110, start + 3);
    UploadTask oldest = storedTask(2, screenshot, 10, start);
    urgent.jsonPayload = QByteArray("{\"a\":1}\0x", 9);
    oldest.filePath = "/tmp/é \"quoted\".jpg";
    oldest.sessionId = QUuid();
    enqueue({storedTask(3, heartbeat, 10, start + 1), oldest, urgent});
    EXPECT_EQ(store->nextUploadTask(start), urgent);
    store->markUploadTaskCompleted(urgent.id);
    EXPECT_EQ(store->nextUploadTask(start), oldest);
    const UploadTask theirs = storedTask(4, heartbeat);
    store->enqueueUploadTask(theirs, "other.test");
    useCompany("other.test");
    EXPECT_EQ(store->nextUploadTask(start), theirs);
    store->markUploadTaskFailed(oldest.id, 1, start + 60.5); // of a company that was left meanwhile
    useCompany("acme.test");
    EXPECT_NE(store->nextUploadTask(start + 60.4)->id, oldest.id);
    enqueue({oldest}); // the same id again is the same row, as new
    EXPECT_EQ(store->nextUploadTask(start), oldest);
    EXPECT_EQ(sql("SELECT count(*), sum(next_attempt_at) FROM upload_queue"), "3 0.0");
}

TEST_F(SQLite, AnswersWhatIsStillToBeSent) {
    UploadTask shot = storedTask(1, screenshot);
    shot.filePath = "/tmp/a.jpg";
    enqueue({shot, storedTask(2, heartbeat), storedTask(3, startSession), storedTask(4, activitySegment)});
    using enum UploadTaskStatus;
    for (const UploadTaskStatus status : {failed, inProgress, completed}) {
        const bool isAlive = status != completed;
        for (const int number : {1, 2, 3, 4})
            store->updateUploadTaskStatus(numberedId(number), status);
        EXPECT_EQ(store->hasScreenshotTask(shot.sessionId, "/tmp/a.jpg", "acme.test"), isAlive);
        EXPECT_FALSE(store->hasScreenshotTask(numberedId(2), "/tmp/a.jpg", "acme.test"));
        EXPECT_EQ(store->hasActivitySegmentTask(), isAlive);
        EXPECT_EQ(store->pendingUploadTaskIds(shot.sessionId, {heartbeat, startSession}, "acme.test")->size(),
                  2U * isAlive);
    }
    EXPECT_FALSE(store->nextUploadTask(start));
}

TEST_F(SQLite, SetsRowsAsideThatItCannotReadAndGivesTheNext) {
    sql("INSERT INTO upload_queue VALUES (NULL,'acme.test','','heartbeat',NULL,NULL,0,5,'pending',100,0),"
        "('1','acme.test','','telepathy',NULL,NULL,0,5,'pending',100,0),"
        "('no uuid','acme.test','','startSession',NULL,NULL,0,5,'failed',100,0)");
    enqueue({storedTask(1, heartbeat, 10)});
    const LogCapture log;
    for (int i = 0; i < 2; ++i) {
        const auto next = store->nextUploadTask(start);
        ASSERT_TRUE(next);
        EXPECT_EQ(next->id, numberedId(1));
    }
    EXPECT_EQ(log.count("of the upload queue cannot be read and is set aside"), 3);
    EXPECT_EQ(sql("SELECT count(*) FROM upload_queue"), "4") << "nothing is lost";
}

TEST_F(SQLite, AddsToASlotAsMuchAsItCanHold) {
    constexpr int most = std::numeric_limits<int>::max();
    for (int i = 0; i < 2; ++i)
        store->upsertActivitySegment({"2023-11-14", 5, 400, 200, most, 7});
    EXPECT_EQ(store->pendingActivitySegmentsForUpload("2023-11-14", 6),
              (std::vector{SQLiteStore::ActivitySegmentRow{"2023-11-14", 5, 600, 400, most, 14}}));
    const auto sent = store->pendingActivitySegmentsForUpload("2023-11-14", 6);
    store->markActivitySegmentsUploaded(sent, "acme.test");
    EXPECT_TRUE(store->pendingActivitySegmentsForUpload("2023-11-14", 6).empty());
    EXPECT_TRUE(store->upsertActivitySegment({"2023-11-14", 5, 0, 0, 0, 1}));
    store->markActivitySegmentsUploaded(sent, "acme.test");
    EXPECT_EQ(store->pendingActivitySegmentsForUpload("2023-11-14", 6).size(), 1U) << "it has grown since";
    sql("DROP TABLE activity_segments");
    EXPECT_FALSE(store->upsertActivitySegment({"2023-11-14", 5, 1, 1, 1, 1}));
}

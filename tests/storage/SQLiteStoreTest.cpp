#include "StoreWorld.h"

namespace {

using Row = SQLiteStore::ActivitySegmentRow;
using Rows = std::vector<Row>;
using Sessions = std::vector<Session>;
using Ids = std::vector<QUuid>;

struct SQLite : testing::Test, StoreWorld {
    SQLiteStore& database = open();
    const Date now = clock.now();

    void enqueue(std::initializer_list<UploadTask> tasks) {
        for (const UploadTask& task : tasks)
            database.enqueueUploadTask(task);
    }
};

TEST_F(SQLite, KeepsSnapshotsByCompanyNewestFirst) {
    const Session first = storedSession(1, start + 0.123456789, std::nullopt);
    const Session second = storedSession(2, start, start + 5);
    const Session foreign = storedSession(3, start, std::nullopt);
    database.saveActiveSession(first);
    timeline.advance(1);
    database.saveActiveSession(second);
    EXPECT_EQ(database.loadAllActiveSessions(), (Sessions{second, first}));
    timeline.advance(1);
    database.saveActiveSession(first);
    EXPECT_EQ(database.loadActiveSession(), first);
    sql("INSERT INTO sessions VALUES ('a','acme.test','','','',x'7b7d',9e9),"
        "('b','acme.test','','','',x'',9e9),('c','acme.test','','','','text',9e9)");
    useCompany("other.test");
    EXPECT_FALSE(database.loadActiveSession());
    database.saveActiveSession(foreign);
    database.clearActiveSession(first.id);
    useCompany("acme.test");
    EXPECT_EQ(database.loadAllActiveSessions(), (Sessions{first, second})) << "unreadable ones are skipped";
    database.clearActiveSession(std::nullopt);
    EXPECT_TRUE(database.loadAllActiveSessions().empty());
    useCompany("other.test");
    EXPECT_EQ(database.loadAllActiveSessions(), Sessions{foreign});
}

TEST_F(SQLite, TellsTheHistoryOfARange) {
    Session frozen = storedSession(1, now - 100, now - 50);
    frozen.reportedTotalSeconds = 7;
    const Session closed = storedSession(2, now - 200, now - 170);
    Session empty = storedSession(4, now, std::nullopt);
    empty.intervals.clear();
    Session middleOpen = storedSession(5, now - 90, std::nullopt);
    middleOpen.intervals.push_back({numberedId(2005), now - 40, now - 30});
    for (const Session& session :
         {frozen, closed, closed, storedSession(3, now - 300, std::nullopt), empty, middleOpen})
        database.appendSessionHistory(session);
    const std::vector<SQLiteStore::SessionSummaryRow> rows{{"Project 3", 300, 3, now - 300},
                                                           {"Project 2", 30, 2, now - 200},
                                                           {"Project 1", 7, 1, now - 100},
                                                           {"Project 5", 70, 5, now - 90},
                                                           {"Project 4", 0, 4, now}};
    EXPECT_EQ(database.sessionHistory(now - 300, now + 1), rows);
    EXPECT_EQ(database.sessionHistory(now - 200, now - 100).size(), 1U) << "the end is not part of the range";
    useCompany("other.test");
    EXPECT_TRUE(database.sessionHistory(now - 1000, now + 1000).empty());
}

TEST_F(SQLite, GivesTheMostUrgentDueTask) {
    UploadTask urgent = storedTask(1, startSession, 110, start + 3);
    UploadTask oldest = storedTask(2, screenshot, 10, start);
    UploadTask newer = storedTask(3, heartbeat, 10, start + 1);
    urgent.jsonPayload = QByteArray("{\"a\":1}\0x", 9);
    oldest.filePath = "/tmp/é \"quoted\".jpg";
    oldest.sessionId = QUuid();
    newer.jsonPayload = QByteArray("");
    newer.retryCount = 4;
    enqueue({oldest, newer, urgent});
    EXPECT_EQ(database.nextUploadTask(start), urgent);
    database.updateUploadTaskStatus(urgent.id, UploadTaskStatus::inProgress);
    EXPECT_EQ(database.nextUploadTask(start), oldest);
    database.markUploadTaskFailed(oldest.id, 1, start + 60.5);
    EXPECT_EQ(database.nextUploadTask(start + 60.4), newer);
    database.markUploadTaskCompleted(newer.id);
    EXPECT_EQ(database.nextUploadTask(start + 60.4), std::nullopt);
    oldest.retryCount = 1;
    oldest.status = UploadTaskStatus::failed;
    EXPECT_EQ(database.nextUploadTask(start + 60.5), oldest);
    oldest.retryCount = 0;
    oldest.status = UploadTaskStatus::pending;
    enqueue({oldest}); // the same id again is the same row, as new
    EXPECT_EQ(database.nextUploadTask(start), oldest);
    EXPECT_EQ(sql("SELECT count(*), sum(next_attempt_at) FROM upload_queue"), "2|0.0");
}

TEST_F(SQLite, KeepsTheQueuesOfCompaniesApart) {
    const UploadTask ours = storedTask(1, heartbeat);
    const UploadTask theirs = storedTask(2, heartbeat);
    enqueue({ours});
    database.enqueueUploadTask(theirs, "other.test");
    useCompany("other.test");
    EXPECT_EQ(database.nextUploadTask(start), theirs);
    database.markUploadTaskCompleted(ours.id);
    database.updateUploadTaskStatus(ours.id, UploadTaskStatus::completed);
    database.markUploadTaskFailed(ours.id, 9, start + 999);
    database.updateUploadTaskStatus(theirs.id, UploadTaskStatus::inProgress);
    useCompany("acme.test");
    EXPECT_EQ(database.nextUploadTask(start), ours);
    database.updateUploadTaskStatus(ours.id, UploadTaskStatus::inProgress);
    database.resetStaleInProgressTasks();
    EXPECT_EQ(sql("SELECT status FROM upload_queue"), "pending pending") << "of every company";
}

TEST_F(SQLite, AnswersWhatIsStillToBeSent) {
    UploadTask shot = storedTask(1, screenshot);
    shot.filePath = "/tmp/a.jpg";
    EXPECT_FALSE(database.hasActivitySegmentTask());
    enqueue({shot, storedTask(2, heartbeat), storedTask(3, startSession), storedTask(4, activitySegment)});
    using enum UploadTaskStatus;
    for (const UploadTaskStatus status : {pending, failed, inProgress, completed}) {
        const bool isAlive = status != completed;
        for (const int number : {1, 2, 3, 4})
            database.updateUploadTaskStatus(numberedId(number), status);
        EXPECT_EQ(database.hasScreenshotTask(shot.sessionId, "/tmp/a.jpg"), isAlive);
        EXPECT_FALSE(database.hasScreenshotTask(shot.sessionId, "/tmp/A.jpg"));
        EXPECT_FALSE(database.hasScreenshotTask(numberedId(2), "/tmp/a.jpg"));
        EXPECT_EQ(database.hasActivitySegmentTask(), isAlive);
        EXPECT_EQ(database.pendingUploadFilePaths(), isAlive ? QSet<QString>{"/tmp/a.jpg"} : QSet<QString>());
        Ids ids = database.pendingUploadTaskIds(shot.sessionId, {heartbeat, startSession});
        std::ranges::sort(ids);
        EXPECT_EQ(ids, isAlive ? (Ids{numberedId(2), numberedId(3)}) : Ids{});
        EXPECT_TRUE(database.pendingUploadTaskIds(shot.sessionId, {}).empty());
    }
    EXPECT_FALSE(database.nextUploadTask(start));
}

TEST_F(SQLite, GivesNoTaskOfAnUnreadableRowAndFreshIdsForBadOnes) {
    const std::pair<const char*, bool> rows[] = {
        {"NULL,'acme.test','0A1B2C3D-0000-4000-8000-000000000007','heartbeat',NULL,NULL,0,5,'pending'",
         false},
        {"'1','acme.test','0A1B2C3D-0000-4000-8000-000000000007','telepathy',NULL,NULL,0,5,'pending'", false},
        {"'no uuid','acme.test','','heartbeat',NULL,NULL,0,5,'failed'", true},
    };
    for (const auto& [row, isReadable] : rows) {
        sql("DELETE FROM upload_queue");
        enqueue({storedTask(50, heartbeat, 1)});
        sql(QByteArray("INSERT INTO upload_queue VALUES (") + row + ",100,0)");
        const auto task = database.nextUploadTask(start);
        EXPECT_EQ(task.has_value(), isReadable) << row;
        EXPECT_EQ(sql("SELECT count(*) FROM upload_queue"), "2");
        if (task) {
            EXPECT_FALSE(task->id.isNull() || task->sessionId.isNull() || task->priority != 100);
            EXPECT_NE(task->id, database.nextUploadTask(start)->id) << "drawn afresh at each reading";
        }
    }
}

TEST_F(SQLite, SendsSegmentsOnceClosedAndAgainWhenTheyGrow) {
    const Row closed{"2024-02-29", 143, 1, 2, 3, 4}, next{"2024-03-01", 0, 0, 1, 0, 0},
        open{"2024-03-01", 1, 9, 9, 9, 9};
    for (const Row& row :
         {open, next, Row{"2024-02-29", 7, 0, 0, 0, 0}, Row{"2024-02-29", 143, 9, 9, 9, 9}, closed})
        database.upsertActivitySegment(row);
    database.upsertActivitySegment({"2024-01-01", 1, 1, 1, 1, 1}, "other.test");
    const auto pendingBefore = [&](int number) {
        return database.pendingActivitySegmentsForUpload("2024-03-01", number);
    };
    EXPECT_EQ(pendingBefore(1), (Rows{closed, next}));
    EXPECT_EQ(pendingBefore(0), Rows{closed});
    database.markActivitySegmentUploaded("2024-02-29", 143);
    EXPECT_EQ(pendingBefore(1), Rows{next});
    database.upsertActivitySegment(closed);
    EXPECT_EQ(pendingBefore(1), (Rows{closed, next}));
}

TEST_F(SQLite, CleansUpWhatNoCompanyWillSend) {
    const auto cleanUp = [&](const std::optional<QString>& company) {
        database.enqueueUploadTask(storedTask(1, heartbeat), "global");
        enqueue({storedTask(2, heartbeat)});
        sql("INSERT OR REPLACE INTO activity_segments VALUES ('global','2024-05-01',1,1,1,1,1,NULL),"
            "('acme.test','2024-05-01',2,0,0,0,0,NULL),('acme.test','2020-01-01',3,1,0,0,0,NULL),"
            "('other.test','2024-03-31',4,1,0,0,0,NULL),('other.test','2024-04-01',5,1,0,0,0,NULL),"
            "('other.test','2020-01-01',6,1,0,0,0,5)");
        return database.cleanupUnattributableData("2024-04-01", company);
    };
    sql("INSERT INTO sessions VALUES ('a','global','','','',x'',1)");
    EXPECT_EQ(cleanUp({}), 4);
    EXPECT_EQ(sql("SELECT segment_number FROM activity_segments ORDER BY 1"), "3 5 6");
    EXPECT_EQ(sql("SELECT domain_key FROM upload_queue; SELECT domain_key FROM sessions"),
              "acme.test global");
    EXPECT_EQ(cleanUp("other.test"), 4);
    EXPECT_EQ(sql("SELECT segment_number FROM activity_segments ORDER BY 1"), "4 5 6");
}

} // namespace

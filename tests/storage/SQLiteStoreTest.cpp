#include "SQLiteStore.h"

#include "LogCapture.h"
#include "Statement.h"
#include "StoreWorld.h"

#include <cmath>
#include <gtest/gtest.h>
#include <thread>

namespace {

constexpr Date start = Date::since1970(1'700'000'000);
using Row = SQLiteStore::ActivitySegmentRow;

std::vector<QUuid> ids(const std::vector<Session>& sessions) {
    std::vector<QUuid> found;
    for (const Session& session : sessions) {
        found.push_back(session.id);
    }
    return found;
}

} // namespace

TEST(SQLiteSessions, keepSnapshotsByCompanyNewestFirst) {
    StoreWorld world;
    SQLiteStore& store = world.open();
    const Session first = storedSession(1, start + 0.123456789, std::nullopt);
    const Session second = storedSession(2, start, start + 5);
    store.saveActiveSession(first);
    world.timeline.advance(1);
    store.saveActiveSession(second);
    EXPECT_EQ(store.loadAllActiveSessions(), (std::vector{second, first}));
    world.timeline.advance(1);
    store.saveActiveSession(first);
    EXPECT_EQ(store.loadActiveSession(), first);
    EXPECT_EQ(
        world.sql("SELECT id, domain_key, device_id, project_id, project_name, typeof(payload), updated_at"
                  " FROM sessions ORDER BY id DESC LIMIT 1"),
        QStringList("0A1B2C3D-0000-4000-8000-000000000002|acme.test|DEVICE||Project 2|blob|1700000001.0"));

    world.useCompany("other.test");
    EXPECT_FALSE(store.loadActiveSession());
    const Session foreign = storedSession(3, start, std::nullopt);
    store.saveActiveSession(foreign);
    store.clearActiveSession(first.id);
    world.useCompany("acme.test");
    EXPECT_EQ(ids(store.loadAllActiveSessions()), (std::vector{first.id, second.id}))
        << "cleared in the other company";
    store.clearActiveSession(first.id);
    EXPECT_EQ(ids(store.loadAllActiveSessions()), std::vector{second.id});
    store.clearActiveSession(std::nullopt);
    EXPECT_TRUE(store.loadAllActiveSessions().empty());
    world.useCompany("other.test");
    EXPECT_EQ(store.loadAllActiveSessions(), std::vector{foreign});
}

TEST(SQLiteSessions, skipPayloadsThatCannotBeReadOrWritten) {
    StoreWorld world;
    SQLiteStore& store = world.open();
    const LogCapture log;
    Session endless = storedSession(1, start, std::nullopt);
    endless.activityScore = std::nan("");
    store.saveActiveSession(endless);
    store.appendSessionHistory(endless);
    EXPECT_TRUE(log.contains("saveActiveSession: encode failed: "));
    EXPECT_TRUE(log.contains("appendSessionHistory: encode failed: "));
    EXPECT_EQ(world.sql("SELECT (SELECT count(*) FROM sessions) + (SELECT count(*) FROM session_history)"),
              QStringList("0"));

    const Session good = storedSession(2, start, std::nullopt);
    store.saveActiveSession(good);
    world.sql("INSERT INTO sessions VALUES ('a','acme.test','','','',x'7b7d',9e9),"
              "('b','acme.test','','','',x'',9e9),('c','acme.test','','','','text',9e9)");
    EXPECT_EQ(store.loadAllActiveSessions(), std::vector{good});
}

TEST(SQLiteSessions, tellTheHistoryOfARange) {
    StoreWorld world;
    SQLiteStore& store = world.open();
    const Date now = world.clock.now();
    Session frozen = storedSession(1, now - 100, now - 50);
    frozen.reportedTotalSeconds = 7;
    const Session closed = storedSession(2, now - 200, now - 170);
    const Session open = storedSession(3, now - 300, std::nullopt);
    Session empty = storedSession(4, now, std::nullopt);
    empty.intervals.clear();
    Session middleOpen = storedSession(5, now - 90, std::nullopt);
    middleOpen.intervals.push_back({numberedId(2005), now - 40, now - 30});
    for (const Session& session : {frozen, closed, closed, open, empty, middleOpen}) {
        store.appendSessionHistory(session);
    }
    using Summary = SQLiteStore::SessionSummaryRow;
    EXPECT_EQ(store.sessionHistory(now - 300, now + 1),
              (std::vector<Summary>{{"Project 3", 300, 3, now - 300},
                                    {"Project 2", 30, 2, now - 200},
                                    {"Project 1", 7, 1, now - 100},
                                    {"Project 5", 70, 5, now - 90},
                                    {"Project 4", 0, 4, now}}));
    EXPECT_EQ(store.sessionHistory(now - 199, now - 100), std::vector<Summary>{});
    EXPECT_EQ(store.sessionHistory(now - 200, now - 100).size(), 1U)
        << "the end of the range is not part of it";
    EXPECT_EQ(world.sql("SELECT started_at, stopped_at FROM session_history WHERE id LIKE '%2'"),
              QStringList("1699999800.0|1699999830.0"));
    world.useCompany("other.test");
    EXPECT_TRUE(store.sessionHistory(now - 1000, now + 1000).empty());
}

TEST(SQLiteQueue, givesTheMostUrgentDueTask) {
    StoreWorld world;
    SQLiteStore& store = world.open();
    UploadTask urgent = storedTask(1, UploadTaskType::startSession, 110, start + 3);
    UploadTask oldest = storedTask(2, UploadTaskType::screenshot, 10, start);
    UploadTask newer = storedTask(3, UploadTaskType::heartbeat, 10, start + 1);
    urgent.jsonPayload = QByteArray("{\"a\":1}\0x", 9);
    oldest.filePath = "/tmp/é \"quoted\".jpg";
    oldest.sessionId = QUuid();
    newer.jsonPayload = QByteArray("");
    newer.retryCount = 4;
    for (const UploadTask& task : {oldest, newer, urgent}) {
        store.enqueueUploadTask(task);
    }
    EXPECT_EQ(store.nextUploadTask(start), urgent);
    store.updateUploadTaskStatus(urgent.id, UploadTaskStatus::inProgress);
    EXPECT_EQ(store.nextUploadTask(start), oldest);
    store.markUploadTaskFailed(oldest.id, 1, start + 60.5);
    EXPECT_EQ(store.nextUploadTask(start + 60.4), newer);
    store.markUploadTaskCompleted(newer.id);
    EXPECT_EQ(store.nextUploadTask(start + 60.4), std::nullopt);
    oldest.retryCount = 1;
    oldest.status = UploadTaskStatus::failed;
    EXPECT_EQ(store.nextUploadTask(start + 60.5), oldest);

    // The same id again is the same row, as new.
    oldest.retryCount = 0;
    oldest.status = UploadTaskStatus::pending;
    store.enqueueUploadTask(oldest);
    EXPECT_EQ(store.nextUploadTask(start), oldest);
    EXPECT_EQ(world.sql("SELECT count(*), sum(next_attempt_at) FROM upload_queue"), QStringList("2|0.0"));

    EXPECT_FALSE(
        world
            .sql("EXPLAIN QUERY PLAN SELECT id FROM upload_queue WHERE domain_key = 'a' AND status IN "
                 "('pending', 'failed') AND next_attempt_at <= 1 ORDER BY priority DESC, created_at ASC "
                 "LIMIT 1")
            .join('\n')
            .contains("TEMP B-TREE"))
        << "the next task must not cost a visit to every row";
}

TEST(SQLiteQueue, keepsCompaniesApart) {
    StoreWorld world;
    SQLiteStore& store = world.open();
    const UploadTask ours = storedTask(1, UploadTaskType::heartbeat, 100, start);
    const UploadTask theirs = storedTask(2, UploadTaskType::heartbeat, 100, start);
    store.enqueueUploadTask(ours);
    store.enqueueUploadTask(theirs, "other.test");
    world.useCompany("other.test");
    EXPECT_EQ(store.nextUploadTask(start), theirs);
    store.markUploadTaskCompleted(ours.id);
    store.updateUploadTaskStatus(ours.id, UploadTaskStatus::failed);
    store.markUploadTaskFailed(ours.id, 9, start + 999);
    store.updateUploadTaskStatus(theirs.id, UploadTaskStatus::inProgress);
    world.useCompany("acme.test");
    EXPECT_EQ(store.nextUploadTask(start), ours);
    store.updateUploadTaskStatus(ours.id, UploadTaskStatus::inProgress);
    store.resetStaleInProgressTasks();
    EXPECT_EQ(world.sql("SELECT status FROM upload_queue"), (QStringList{"pending", "pending"}))
        << "of every company";
    world.domain.setBaseURL(std::nullopt);
    EXPECT_FALSE(store.nextUploadTask(start));
    store.enqueueUploadTask(ours);
    EXPECT_EQ(world.sql("SELECT domain_key FROM upload_queue ORDER BY id"),
              (QStringList{"global", "other.test"}));
}

TEST(SQLiteQueue, answersWhatIsAlive) {
    StoreWorld world;
    SQLiteStore& store = world.open();
    UploadTask shot = storedTask(1, UploadTaskType::screenshot, 10, start);
    shot.filePath = "/tmp/a.jpg";
    const UploadTask beat = storedTask(2, UploadTaskType::heartbeat, 100, start);
    const UploadTask begin = storedTask(3, UploadTaskType::startSession, 110, start);
    EXPECT_FALSE(store.hasActivitySegmentTask());
    for (const UploadTask& task :
         {shot, beat, begin, storedTask(4, UploadTaskType::activitySegment, 40, start)}) {
        store.enqueueUploadTask(task);
    }
    using enum UploadTaskType;
    using Ids = std::vector<QUuid>;
    const auto sorted = [&](const std::vector<UploadTaskType>& types) {
        Ids found = store.pendingUploadTaskIds(shot.sessionId, types);
        std::ranges::sort(found);
        return found;
    };
    for (const auto status :
         {UploadTaskStatus::pending, UploadTaskStatus::failed, UploadTaskStatus::inProgress}) {
        for (const int number : {1, 2, 3, 4}) {
            store.updateUploadTaskStatus(numberedId(number), status);
        }
        EXPECT_TRUE(store.hasScreenshotTask(shot.sessionId, "/tmp/a.jpg"));
        EXPECT_FALSE(store.hasScreenshotTask(shot.sessionId, "/tmp/A.jpg"));
        EXPECT_FALSE(store.hasScreenshotTask(beat.id, "/tmp/a.jpg"));
        EXPECT_TRUE(store.hasActivitySegmentTask());
        EXPECT_EQ(store.pendingUploadFilePaths(), QSet<QString>{"/tmp/a.jpg"});
        EXPECT_EQ(sorted({heartbeat, startSession}), (Ids{beat.id, begin.id}));
        EXPECT_EQ(sorted({screenshot}), Ids{shot.id});
        EXPECT_EQ(sorted({}), Ids{});
    }
    for (const int number : {1, 2, 3, 4}) {
        store.updateUploadTaskStatus(numberedId(number), UploadTaskStatus::completed);
    }
    EXPECT_FALSE(store.hasScreenshotTask(shot.sessionId, "/tmp/a.jpg") || store.hasActivitySegmentTask());
    EXPECT_TRUE(store.pendingUploadFilePaths().isEmpty());
    EXPECT_EQ(sorted({heartbeat, screenshot, startSession, activitySegment, metadata}), Ids{});
    EXPECT_FALSE(store.nextUploadTask(start));
}

TEST(SQLiteQueue, givesNoTaskOfAnUnreadableRowAndFreshIdsForBadOnes) {
    const struct {
        const char* id;
        const char* session;
        const char* type;
        const char* status;
        bool isReadable;
    } cases[] = {
        {"NULL", "'0A1B2C3D-0000-4000-8000-000000000007'", "'heartbeat'", "'pending'", false},
        {"'0A1B2C3D-0000-4000-8000-000000000001'", "'x'", "'telepathy'", "'pending'", false},
        {"'0A1B2C3D-0000-4000-8000-000000000001'", "'x'", "''", "'failed'", false},
        {"'no uuid'", "'0A1B2C3D-0000-4000-8000-000000000007'", "'heartbeat'", "'pending'", true},
        {"'0A1B2C3D-0000-4000-8000-000000000001'", "''", "'heartbeat'", "'pending'", true},
    };
    for (const auto& c : cases) {
        StoreWorld world;
        SQLiteStore& store = world.open();
        store.enqueueUploadTask(storedTask(50, UploadTaskType::heartbeat, 1, start));
        world.sql(QByteArray("INSERT INTO upload_queue VALUES (") + c.id + ",'acme.test'," + c.session + "," +
                  c.type + ",NULL,NULL,0,5," + c.status + ",100,0)");
        const auto task = store.nextUploadTask(start);
        EXPECT_EQ(task.has_value(), c.isReadable) << c.id << c.type;
        EXPECT_EQ(world.sql("SELECT count(*) FROM upload_queue"), QStringList("2"));
        if (task) {
            EXPECT_FALSE(task->id.isNull() || task->sessionId.isNull());
            EXPECT_EQ(task->type, UploadTaskType::heartbeat);
            EXPECT_NE(task, store.nextUploadTask(start)) << "drawn afresh at each reading";
        }
    }
}

TEST(SQLiteSegments, areSentOnceClosedAndAgainWhenTheyGrow) {
    StoreWorld world;
    SQLiteStore& store = world.open();
    const Row closed{"2024-02-29", 143, 1, 2, 3, 4};
    const Row next{"2024-03-01", 0, 0, 1, 0, 0};
    const Row open{"2024-03-01", 1, 9, 9, 9, 9};
    for (const Row& row :
         {open, next, Row{"2024-02-29", 7, 0, 0, 0, 0}, Row{"2024-02-29", 143, 600, 600, 9, 9}, closed}) {
        store.upsertActivitySegment(row);
    }
    store.upsertActivitySegment({"2024-01-01", 1, 1, 1, 1, 1}, "other.test");
    EXPECT_EQ(store.pendingActivitySegmentsForUpload("2024-03-01", 1), (std::vector{closed, next}));
    EXPECT_EQ(store.pendingActivitySegmentsForUpload("2024-03-01", 0), std::vector{closed});
    EXPECT_EQ(store.pendingActivitySegmentsForUpload("2024-02-29", 143), std::vector<Row>{});

    store.markActivitySegmentUploaded("2024-02-29", 143);
    EXPECT_EQ(world.sql("SELECT uploaded_at FROM activity_segments WHERE segment_number = 143"),
              QStringList("1700000000.0"));
    EXPECT_EQ(store.pendingActivitySegmentsForUpload("2024-03-01", 1), std::vector{next});
    store.upsertActivitySegment(closed);
    EXPECT_EQ(store.pendingActivitySegmentsForUpload("2024-03-01", 1), (std::vector{closed, next}));
}

TEST(SQLiteSegments, areSummedOverDaysOfTheMachine) {
    StoreWorld world;
    world.timeline.setZone("Asia/Ho_Chi_Minh");
    SQLiteStore& store = world.open();
    store.upsertActivitySegment({"2024-05-01", 0, 300, 600, 0, 0});
    store.upsertActivitySegment({"2024-05-02", 1, 600, 150, 0, 0});
    store.upsertActivitySegment({"2024-05-03", 1, 600, 600, 0, 0});
    store.upsertActivitySegment({"2024-05-01", 2, 600, 600, 0, 0}, "other.test");
    const Date from = Date::since1970(1714496400); // midnight of 2024-05-01 in that zone
    const auto twoDays = store.segmentActivitySummary(from, from + 2 * 86400);
    EXPECT_DOUBLE_EQ(twoDays.activityRateWeightedSum, 50 * 100 + 100 * 25);
    EXPECT_DOUBLE_EQ(twoDays.nonIdlePercentSum, 125);
    EXPECT_DOUBLE_EQ(store.segmentActivitySummary(from, from + 86399).nonIdlePercentSum, 0)
        << "the same day twice";
}

TEST(SQLiteCleanup, removesWhatNoCompanyWillSend) {
    StoreWorld world;
    SQLiteStore& store = world.open();
    const auto fill = [&] {
        store.enqueueUploadTask(storedTask(1, UploadTaskType::heartbeat, 1, start), "global");
        store.enqueueUploadTask(storedTask(2, UploadTaskType::heartbeat, 1, start));
        const struct {
            const char* domain;
            Row row;
        } segments[] = {
            {"global", {"2024-05-01", 1, 1, 1, 1, 1}},     {"acme.test", {"2024-05-01", 2, 0, 0, 0, 0}},
            {"acme.test", {"2020-01-01", 3, 1, 0, 0, 0}},  {"other.test", {"2024-03-31", 4, 1, 0, 0, 0}},
            {"other.test", {"2024-04-01", 5, 1, 0, 0, 0}}, {"other.test", {"2020-01-01", 6, 1, 0, 0, 0}},
        };
        for (const auto& s : segments) {
            store.upsertActivitySegment(s.row, QString(s.domain));
        }
        world.sql("UPDATE activity_segments SET uploaded_at = 5 WHERE segment_number = 6");
        store.saveActiveSession(storedSession(1, start, std::nullopt));
        world.sql("UPDATE sessions SET domain_key = 'global'");
    };
    fill();
    EXPECT_EQ(store.cleanupUnattributableData("2024-04-01"), 4);
    EXPECT_EQ(store.cleanupUnattributableData("2024-04-01"), 0);
    EXPECT_EQ(world.sql("SELECT segment_number FROM activity_segments ORDER BY 1"),
              (QStringList{"3", "5", "6"}));
    EXPECT_EQ(world.sql("SELECT domain_key FROM upload_queue"), QStringList("acme.test"));
    EXPECT_EQ(world.sql("SELECT domain_key FROM sessions"), QStringList("global"));
    fill();
    EXPECT_EQ(store.cleanupUnattributableData("2024-04-01", "other.test"), 4)
        << "now the first company's is foreign";
    EXPECT_EQ(world.sql("SELECT segment_number FROM activity_segments ORDER BY 1"),
              (QStringList{"4", "5", "6"}));
}

TEST(SQLiteStoreThreads, loseNothing) {
    StoreWorld world;
    SQLiteStore& store = world.open();
    constexpr int threads = 4;
    constexpr int rounds = 100;
    std::vector<std::thread> workers;
    for (int worker = 0; worker < threads; ++worker) {
        workers.emplace_back([&store, worker] {
            for (int round = 0; round < rounds; ++round) {
                const int number = worker * rounds + round;
                store.enqueueUploadTask(storedTask(number, UploadTaskType::heartbeat, 1, start + number));
                store.upsertActivitySegment({"2024-05-01", number % 144, number, 1, 1, 1});
                store.nextUploadTask(start);
                store.pendingActivitySegmentsForUpload("2024-05-02", 0);
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(world.sql("SELECT count(*) FROM upload_queue"), QStringList(QString::number(threads * rounds)));
    EXPECT_EQ(store.nextUploadTask(start), storedTask(0, UploadTaskType::heartbeat, 1, start));
}

TEST(StatementDeathTest, endsTheProcessForAnIntegerBeyondItsColumn) {
    StoreWorld world;
    world.open();
    Statement statement(nullptr, "SELECT ?;");
    EXPECT_FALSE(statement.isPrepared());
    EXPECT_DEATH(statement.bindInteger(2147483648), "does not fit");
    EXPECT_DEATH(statement.bindInteger(-2147483649), "does not fit");
}

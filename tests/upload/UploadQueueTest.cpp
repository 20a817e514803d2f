#include "LogCapture.h"
#include "UploadWorld.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>

namespace {

QStringList lastComponents(const std::vector<URLRequest>& requests) {
    QStringList names;
    for (const URLRequest& request : requests)
        names.append(request.url.fileName());
    return names;
}

} // namespace

TEST(UploadQueue, sendsByPriorityThenAgeAndTwentyARun) {
    UploadWorld world;
    for (int i = 0; i < 19; ++i)
        world.add(UploadTaskType::heartbeat, 100, QByteArray::number(i));
    world.timeline().advance(1);
    const QString picture = world.picture(0);
    world.addScreenshot(picture);
    world.add(UploadTaskType::startSession, 110, "first");
    world.add(UploadTaskType::heartbeat, 100, "last");
    world.add(UploadTaskType::metadata, 200);
    world.run();
    ASSERT_EQ(world.requests().size(), 19u); // the twentieth was the metadata row, which sends nothing
    EXPECT_EQ(world.requests().front().body, "first");
    for (int i = 1; i < 19; ++i)
        EXPECT_EQ(world.requests()[i].body, QByteArray::number(i - 1));
    EXPECT_EQ(world.rows(),
              QStringList({"heartbeat pending 0", "heartbeat pending 0", "screenshot pending 0"}));
    const LogCapture log;
    world.run();
    EXPECT_TRUE(world.rows().isEmpty());
    EXPECT_EQ(world.requests()[20].body, "last");
    EXPECT_FALSE(QFile::exists(picture));
    EXPECT_EQ(log.count("no tasks"), 0);
    world.run();
    EXPECT_EQ(log.lines(QtInfoMsg).last(), "processQueue: no tasks in queue");
}

TEST(UploadQueue, aSecondRunAtTheSameTimeIsRefusedAndTheNextOneIsNot) {
    UploadWorld world;
    world.add(UploadTaskType::heartbeat);
    const LogCapture log;
    const auto first = world.service.processQueue();
    world.timeline().settle();
    EXPECT_EQ(world.rows(), QStringList("heartbeat inProgress 0"));
    world.closedSegment(3);
    world.run();
    EXPECT_EQ(log.count("processQueue skipped: already processing"), 1);
    EXPECT_EQ(world.rows(), QStringList({"activitySegment pending 0", "heartbeat inProgress 0"}));
    world.timeline().advance(1); // the first run also finds the task that the refused one added
    EXPECT_EQ(lastComponents(world.requests()), QStringList({"heartbeat", "batch"}));
    world.add(UploadTaskType::heartbeat);
    world.run();
    EXPECT_TRUE(world.rows().isEmpty() || world.rows() == QStringList("activitySegment pending 0"));
    EXPECT_EQ(log.count("already processing"), 1);
}

TEST(UploadQueue, anOpenCircuitRefusesTheRunButSegmentsAreStillQueued) {
    UploadWorld world;
    world.add(UploadTaskType::heartbeat);
    for (int i = 0; i < 5; ++i)
        world.retry.registerFailure(503);
    world.closedSegment(3);
    world.machine.path.set(false);
    const LogCapture log;
    world.run();
    EXPECT_EQ(log.lines(QtInfoMsg),
              QStringList({"processQueue: NetworkMonitor reports offline (advisory) — proceeding anyway",
                           "processQueue skipped: circuit breaker open"}));
    EXPECT_EQ(world.rows(), QStringList({"activitySegment pending 0", "heartbeat pending 0"}));
    world.timeline().advance(60);
    world.run(); // offline as it may seem
    EXPECT_EQ(world.requests().size(), 2u);
    world.retry.registerFailure(503); // the first one since the run's successes
    EXPECT_FALSE(world.circuitIsOpen());
}

TEST(UploadQueue, aCircuitThatOpensEndsTheRun) {
    UploadWorld world;
    for (int i = 0; i < 7; ++i)
        world.add(UploadTaskType::startSession);
    world.serverAnswers(500);
    world.run();
    EXPECT_EQ(world.requests().size(), 5u);
    EXPECT_EQ(world.rows().filter("pending").size(), 2);
}

TEST(UploadQueue, aStoppedSessionQueuesItsLastHeartbeatAndAllItsPictures) {
    UploadWorld world;
    world.zones.store("Asia/Ho_Chi_Minh");
    const QString picture = world.picture(0);
    world.fileNamed("1A1B2C3D-0000-4000-8000-000000000007_t_0.jpg");
    world.addScreenshot(picture);
    const Session session = world.sampleSession();
    const LogCapture log;
    world.service.enqueueSessionStart(session);
    world.service.enqueueSessionUpload(session);
    world.service.enqueueScreenshotsForSession(session.id); // finds a live task for each file
    EXPECT_EQ(log.lines(), QStringList("Enqueueing 1 screenshot(s) for session " + world.sessionText));
    EXPECT_EQ(
        world.sql(
            "SELECT type, priority, session_id, status, retry_count, next_attempt_at, IFNULL(file_path, '-')"
            " FROM upload_queue ORDER BY priority DESC"),
        QStringList({"startSession 110 " + world.sessionText + " pending 0 0.0 -",
                     "heartbeat 100 " + world.sessionText + " pending 0 0.0 -",
                     "screenshot 10 " + world.sessionText + " pending 0 0.0 " + picture,
                     "screenshot 10 " + world.sessionText + " pending 0 0.0 " + picture}));
    world.run();
    EXPECT_EQ(lastComponents(world.requests()), QStringList({"start", "heartbeat", "screenshots"}));
    EXPECT_EQ(jsonObject(world.requests()[0].body)["started_at"], "2024-05-01T16:30:00+07:00");
    EXPECT_EQ(jsonObject(world.requests()[1].body)["status"], "completed");
    EXPECT_TRUE(world.rows().isEmpty()); // the second row of the file ended as "file not found"
}

TEST(UploadQueue, whatCannotBeWrittenIsNotQueued) {
    UploadWorld world;
    world.picture(0);
    Session session = world.sampleSession();
    session.activityScore = NAN;
    const LogCapture log;
    world.service.enqueueSessionUpload(session);
    EXPECT_FALSE(world.await(world.service.uploadHeartbeatNow(session)));
    session.intervals.clear();
    world.service.enqueueSessionStart(session);
    EXPECT_TRUE(world.rows().isEmpty());
    EXPECT_EQ(log.lines(), QStringList({"uploadHeartbeatNow: buildHeartbeatPayload failed",
                                        "enqueueSessionStart: StartSessionPayload.build failed"}));
}

TEST(UploadSegments, oneTaskSendsAllThatIsClosedAndMarksWhatWasAccepted) {
    UploadWorld world;
    world.zones.store("Asia/Ho_Chi_Minh"); // now is slot 31 of 15 November there
    for (const int number : {9, 10, 11})
        world.closedSegment(number);
    world.store.upsertActivitySegment({"2023-11-15", 31, 60, 60, 1, 1});
    world.service.enqueueActivitySegmentsForUpload(SegmentUtils::DateAndNumber{"2023-11-13", 11});
    world.service.enqueueActivitySegmentsForUpload(std::nullopt);
    EXPECT_EQ(
        world.sql("SELECT session_id, priority, json_payload FROM upload_queue"),
        QStringList(
            R"(00000000-0000-0000-0000-000000000000 40 {"open_segment_date":"2023-11-13","open_segment_number":11})"));
    const LogCapture log;
    world.serverAnswers(
        200,
        R"({"data":{"accepted":[1,-1,2,7],"rejected":[{"index":0}],"today_total_seconds":9,"today_date":"d"}})");
    world.run();
    EXPECT_TRUE(log.lines(QtInfoMsg).contains("POST segments/batch: 2 closed segment(s)"));
    EXPECT_TRUE(log.lines(QtInfoMsg).contains("server today_total via segments-batch: 9s @ d"));
    EXPECT_EQ(world.totals, std::vector<ServerTodayTotal>({{9, "d"}}));
    EXPECT_EQ(log.lines(QtCriticalMsg).filter("was not sent; skipped").size(), 3);
    const QByteArray unsent =
        "SELECT segment_number FROM activity_segments WHERE uploaded_at IS NULL ORDER BY 1";
    EXPECT_EQ(world.sql(unsent), QStringList({"9", "11", "31"}));
    const QJsonObject body = jsonObject(world.requests().front().body);
    EXPECT_EQ(body["segments"].toArray().size(), 2);
    EXPECT_EQ(body["segments"][0]["timezone"], "Asia/Ho_Chi_Minh");
    EXPECT_EQ(body["device_uuid"].toString().size(), 36);

    // What was not accepted is offered again by each run, until the server takes it; an unreadable answer
    // takes nothing.
    for (const char* reply : {"<html>", R"({"data":{"accepted":[0,"1"]}})", R"({"data":{"accepted":[]}})"}) {
        world.serverAnswers(200, reply);
        world.run();
        EXPECT_TRUE(world.rows().isEmpty());
        EXPECT_EQ(world.sql(unsent), QStringList({"9", "11", "31"}));
    }
    world.serverAnswers(200, R"({"data":{"accepted":[0,1]}})");
    world.run();
    EXPECT_EQ(world.sql(unsent), QStringList("31"));
    const std::size_t requests = world.requests().size();
    world.service.enqueueActivitySegmentsForUpload(std::nullopt);
    world.run(); // nothing is closed: no request
    EXPECT_EQ(world.requests().size(), requests);
    EXPECT_TRUE(world.rows().isEmpty());
    world.closedSegment(10); // grew after its upload
    world.add(UploadTaskType::activitySegment, 40, "unreadable: the slot of now is the limit");
    world.serverAnswers(200, R"({"data":{"accepted":[0]}})");
    world.run();
    EXPECT_EQ(world.sql(unsent), QStringList("31"));
}

TEST(DirectHeartbeat, tellsWhetherTheServerTookItAndPassesTheTotalOn) {
    UploadWorld world;
    const Session session = world.sampleSession();
    const LogCapture log;
    world.serverAnswers(
        200, R"({"success":true,"data":{"ok":true,"today_total_seconds":3600,"today_date":"2024-05-01"}})");
    EXPECT_TRUE(world.await(world.service.uploadHeartbeatNow(session)));
    EXPECT_EQ(world.totals, std::vector<ServerTodayTotal>({{3600, "2024-05-01"}}));
    EXPECT_TRUE(log.lines(QtInfoMsg).contains("server today_total via heartbeat-direct: 3600s @ 2024-05-01"));
    const QJsonObject body = jsonObject(world.requests().front().body);
    EXPECT_EQ(body["status"], "active");
    EXPECT_TRUE(body["stopped_at"].isNull());
    for (const char* reply : {"", "nonsense", R"({"success":true})"}) {
        world.serverAnswers(204, reply);
        EXPECT_TRUE(world.await(world.service.uploadHeartbeatNow(session)));
    }
    world.add(UploadTaskType::heartbeat);
    for (const int status : {400, 401, 422, 500}) {
        world.serverAnswers(status);
        EXPECT_FALSE(world.await(world.service.uploadHeartbeatNow(session))) << status;
    }
    world.serverFails(URLError::Code::cannotFindHost);
    EXPECT_FALSE(world.await(world.service.uploadHeartbeatNow(session)));
    EXPECT_EQ(log.lines(QtInfoMsg).filter("uploadHeartbeatNow failed: ").size(), 5);
    EXPECT_EQ(world.totals.size(), 1u);
    EXPECT_TRUE(world.takeovers.empty());
    EXPECT_EQ(world.rows(), QStringList("heartbeat pending 0"));
    EXPECT_FALSE(world.circuitIsOpen());
}

TEST(Takeover, isTakenUpOnceWhicheverPathSeesItAndLeavesPictures) {
    UploadWorld world;
    const LogCapture log;
    const auto fillQueue = [&] {
        world.add(UploadTaskType::heartbeat, 100);
        world.add(UploadTaskType::heartbeat, 90);
        world.add(UploadTaskType::startSession, 50);
        world.addScreenshot(world.picture(0));
        UploadTask foreign = world.add(UploadTaskType::startSession, 5);
        foreign.sessionId = QUuid::fromString("{1a1b2c3d-0000-4000-8000-000000000007}");
        world.store.enqueueUploadTask(foreign);
    };
    const QStringList left{"screenshot pending 0", "startSession pending 0"};
    fillQueue();
    world.serverAnswers(409);
    EXPECT_FALSE(world.await(world.service.uploadHeartbeatNow(world.sampleSession())));
    EXPECT_EQ(world.rows(), left);
    EXPECT_EQ(world.takeovers, (std::vector<std::pair<QUuid, int>>{{world.session, 409}}));

    world.sql("DELETE FROM upload_queue");
    fillQueue();
    world.machine.urlSession.setServer([](const URLRequest& request) {
        return SimulatedURLSession::answer(request.url.fileName() == "heartbeat" ? 404 : 200);
    });
    world.run();
    EXPECT_TRUE(world.rows().isEmpty());
    EXPECT_EQ(lastComponents(world.requests()),
              QStringList({"heartbeat", "heartbeat", "screenshots", "start"}));
    EXPECT_EQ(world.takeovers.size(), 1u);
    EXPECT_EQ(log.lines(QtCriticalMsg).filter("taken over"),
              QStringList("Session " + world.sessionText +
                          " taken over by another device (status 409); stopping local tracking."));
}

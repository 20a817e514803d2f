#include "UploadWorld.h"

using Type = UploadTaskType;

TEST_F(Upload, sendsByPriorityThenAgeAndTwentyARun) {
    for (int i = 0; i < 19; ++i)
        add(Type::heartbeat, 100, QByteArray::number(i));
    pass(1);
    addScreenshot(picture());
    add(Type::startSession, 110, "first");
    add(Type::heartbeat, 100, "last");
    add(Type::metadata, 200);
    const LogCapture log;
    run();
    ASSERT_EQ(requests.size(), 19u); // the twentieth was the metadata row, which sends nothing
    EXPECT_EQ(requests[0].body, "first");
    for (int i = 1; i < 19; ++i)
        EXPECT_EQ(requests[i].body, QByteArray::number(i - 1));
    EXPECT_EQ(rows(), "heartbeat pending 0, heartbeat pending 0, screenshot pending 0");
    run();
    EXPECT_EQ(requests[20].body, "last");
    EXPECT_EQ(log.count("no tasks"), 0);
    run();
    EXPECT_EQ(log.lines().last(), "processQueue: no tasks in queue");
}

TEST_F(Upload, isRefusedByAnOpenCircuitButStillQueuesSegments) {
    for (int i = 0; i < 7; ++i)
        add(Type::startSession);
    answer(503);
    run(); // ends with the failure that opens the circuit
    EXPECT_EQ(sent(), "start start start start start");
    closedSegment(3);
    machine.path.set(false);
    const LogCapture log;
    run();
    EXPECT_EQ(log.lines(),
              QStringList({"processQueue: NetworkMonitor reports offline (advisory) — proceeding anyway",
                           "processQueue skipped: circuit breaker open"}));
    EXPECT_TRUE(rows().startsWith("activitySegment pending 0, "));
    answer(200);
    pass(60);
    run(); // offline as it may seem
    EXPECT_EQ(rows(), "");
    EXPECT_FALSE(circuitOpensAfter(4, 503)); // the first ones since the run's successes
}

TEST_F(Upload, queuesNothingThatCannotBeWritten) {
    picture();
    Session session = sampleSession();
    session.activityScore = NAN;
    service.enqueueSessionUpload(session);
    session = sampleSession();
    session.intervals[1].stoppedAt = Date::since2001(INFINITY);
    const LogCapture log;
    EXPECT_FALSE(await(service.uploadHeartbeatNow(session)));
    session.intervals.clear();
    service.enqueueSessionStart(session);
    EXPECT_EQ(rows(), "");
    EXPECT_EQ(log.lines(), QStringList({"uploadHeartbeatNow: buildHeartbeatPayload failed",
                                        "enqueueSessionStart: StartSessionPayload.build failed"}));
}

TEST_F(Upload, sendsAllSegmentsThatAreClosedAndMarksWhatWasAccepted) {
    zones.store("Asia/Ho_Chi_Minh"); // now is slot 31 of 15 November there
    for (const int number : {9, 10, 11})
        closedSegment(number);
    store.upsertActivitySegment({"2023-11-15", 31, 60, 60, 1, 1});
    service.enqueueActivitySegmentsForUpload(SegmentUtils::DateAndNumber{"2023-11-13", 11});
    service.enqueueActivitySegmentsForUpload(std::nullopt); // one live task is enough
    EXPECT_EQ(sql("SELECT session_id, priority, json_payload FROM upload_queue").join('\n'),
              "00000000-0000-0000-0000-000000000000 40 "
              R"({"open_segment_date":"2023-11-13","open_segment_number":11})");
    const auto unsentAfter = [&](const QByteArray& reply) {
        answer(200, reply);
        run();
        EXPECT_EQ(rows(), "");
        return sql("SELECT segment_number FROM activity_segments WHERE uploaded_at IS NULL ORDER BY 1")
            .join(' ');
    };
    const LogCapture log;
    EXPECT_EQ(unsentAfter(R"({"data":{"accepted":[1,-1,2,7]}})"), "9 11 31");
    EXPECT_TRUE(log.contains("POST segments/batch: 2 closed segment(s)"));
    const QJsonObject body = jsonObject(requests[0].body);
    EXPECT_EQ(body["segments"][1]["segment_number"], 10);
    EXPECT_EQ(body["segments"][1]["timezone"], "Asia/Ho_Chi_Minh");
    EXPECT_EQ(body["device_uuid"].toString().size(), 36);
    // What was not accepted is offered again by each run; an unreadable answer takes nothing.
    for (const char* reply : {"<html>", R"({"data":{"accepted":[0,"1"]}})", R"({"data":{"accepted":[]}})"})
        EXPECT_EQ(unsentAfter(reply), "9 11 31");
    const QByteArray takesTwo = R"({"data":{"accepted":[0,1]}})";
    EXPECT_EQ(unsentAfter(takesTwo), "31");
    service.enqueueActivitySegmentsForUpload(std::nullopt);
    EXPECT_EQ(unsentAfter(takesTwo), "31"); // nothing is closed: no request
    EXPECT_EQ(sent(), "batch batch batch batch batch");
    closedSegment(10); // grew after its upload
    add(Type::activitySegment, 40, "unreadable: the slot of now is the limit");
    EXPECT_EQ(unsentAfter(takesTwo), "31");
    closedSegment(10);
    machine.urlSession.setServer([&](const URLRequest&) {
        store.upsertActivitySegment({"2023-11-13", 10, 600, 600, 1, 1}); // grows while it is under way
        return Network::answer(200, takesTwo);
    });
    run();
    EXPECT_EQ(unsentAfter("<html>"), "10 31");
}

TEST_F(Upload, directHeartbeatTellsWhetherTheServerTookIt) {
    add(Type::heartbeat);
    const LogCapture log;
    const auto isTaken = [&] { return await(service.uploadHeartbeatNow(sampleSession())); };
    answer(200, R"({"data":{"today_total_seconds":3600,"today_date":"2024-05-01"}})");
    EXPECT_TRUE(isTaken());
    EXPECT_TRUE(log.contains("server today_total via heartbeat-direct: 3600s @ 2024-05-01"));
    EXPECT_EQ(jsonObject(requests[0].body)["status"], "active");
    answer(204, "nonsense");
    EXPECT_TRUE(isTaken());
    for (const int status : {400, 401, 422, 500, -1}) {
        reply(status > 0 ? Network::answer(status) : Network::failure(URLError::Code::cannotFindHost));
        EXPECT_FALSE(isTaken()) << status;
    }
    EXPECT_EQ(log.count("uploadHeartbeatNow failed: "), 5);
    EXPECT_EQ(heard, QStringList("3600 s on 2024-05-01"));
    EXPECT_EQ(rows(), "heartbeat pending 0");
}

TEST_F(Upload, takesATakeoverUpOnceWhicheverPathSeesItAndLeavesPictures) {
    const auto fillQueue = [&] {
        add(Type::heartbeat, 100), add(Type::heartbeat, 90), add(Type::startSession, 50);
    };
    add(Type::startSession, 5); // of somebody else
    sql("UPDATE upload_queue SET session_id = 'another'");
    addScreenshot(picture());
    fillQueue();
    const LogCapture log;
    answer(409);
    EXPECT_FALSE(await(service.uploadHeartbeatNow(sampleSession())));
    EXPECT_EQ(rows(), "screenshot pending 0, startSession pending 0");
    fillQueue();
    answer(404);
    run();
    EXPECT_EQ(sent(), "heartbeat heartbeat screenshots start");
    EXPECT_EQ(rows(), "screenshot failed 1");
    EXPECT_EQ(heard, QStringList(sessionText + " gone 409"));
    const QString taken = " taken over by another device (status 409); stopping local tracking.";
    EXPECT_EQ(log.lines().filter("taken over"), QStringList("Session " + sessionText + taken));
}

TEST_F(Upload, launchMendsTheQueueAndAdoptsStrandedPictures) {
    zones.store("Pacific/Kiritimati"); // UTC+14: there, thirty days ago is 16 October 2023
    store.enqueueUploadTask(add(Type::heartbeat), "other.test");
    sql("UPDATE upload_queue SET status = 'inProgress', retry_count = 3, next_attempt_at = 1e10");
    store.enqueueUploadTask(add(Type::heartbeat), "global");
    for (const char* day : {"2023-10-15", "2023-10-16"})
        store.upsertActivitySegment({day, 3, 1, 1, 1, 1}, "other.test");
    const Seconds week = 604800;
    const std::tuple<const char*, QString, Seconds, char> files[] = {
        // 'a'dopted, 'k'ept as it is, 'd'eleted
        {"acme.test", sessionText + "_t_0.jpg", week, 'a'},
        {"acme.test", sessionText.toLower() + "_t_1.JPG", 5, 'a'},
        {"acme.test", sessionText + "_later_0.jpg", -99, 'a'},
        {"acme.test", sessionText + "_t_3.png", week * 9, 'k'},
        {"acme.test", sessionText + ".jpg", 5, 'k'},
        {"acme.test", "notes_0.jpg", week, 'k'},
        {"acme.test", "notes_1.JPG", week + 1, 'd'},
        {"acme.test", sessionText + "_t_4.jpg", week + 1, 'd'},
        {"other.test", sessionText + "_t_5.jpg", week, 'k'},
        {"other.test", sessionText + "_t_6.jpg", week + 1, 'd'},
    };
    for (const auto& [company, name, age, fate] : files)
        file(name, age, company);
    addScreenshot(file(sessionText + "_queued_0.jpg", 5));
    reply(Network::failure(URLError::Code::networkConnectionLost));
    const LogCapture log;
    await(service.start());
    EXPECT_EQ(
        log.lines().mid(0, 2),
        QStringList({"Launch cleanup: removed 2 unattributable row(s) (global-domain queue/segments, zero "
                     "segments, stale foreign-domain segments)",
                     "Orphan sweeper: enqueued 3 stranded screenshot(s)"}));
    EXPECT_EQ(sql("SELECT segment_date FROM activity_segments"), QStringList("2023-10-16"));
    EXPECT_EQ(sql("SELECT DISTINCT type, priority, retry_count, created_at, domain_key, next_attempt_at"
                  " FROM upload_queue ORDER BY 1"),
              QStringList({"heartbeat 10 3 1700000000.0 other.test 10000000000.0",
                           "screenshot 10 0 1700000000.0 acme.test 0.0"}));
    for (const auto& [company, name, age, fate] : files) {
        const QString path = directory.filePath("Velmora TimeTracker/captures/") + company + u'/' + name;
        EXPECT_EQ(QFile::exists(path), fate != 'd') << qPrintable(path);
        EXPECT_EQ(store.hasScreenshotTask(QUuid(sessionText), path), fate == 'a') << qPrintable(path);
    }
    pass(1); // the first run comes at once
    EXPECT_EQ(sent(), "screenshots screenshots screenshots screenshots");
    EXPECT_EQ(sql("SELECT status FROM upload_queue WHERE type = 'heartbeat'"), QStringList("pending"));
}

TEST_F(Upload, runsOneAtATimeThirtySecondsAfterTheLastHasEnded) {
    await(service.start());
    pass(1);
    const LogCapture log;
    add(Type::heartbeat);
    reply(Network::answer(200, R"({"data":{"accepted":[0]}})", 7));
    pass(30); // the second run is one second old
    closedSegment(3);
    run();
    EXPECT_EQ(log.count("processQueue skipped: already processing"), 1);
    EXPECT_EQ(rows(), "activitySegment pending 0, heartbeat inProgress 0");
    pass(13 + 29.9); // it also finds the task that the refused one added
    EXPECT_EQ(sent(), "heartbeat batch");
    EXPECT_EQ(log.count("no tasks in queue"), 0);
    pass(0.2);
    EXPECT_EQ(log.count("no tasks in queue"), 1);
}

#include "UploadWorld.h"

TEST_F(Upload, sendsByPriorityThenAgeAndTwentyARun) {
    for (int i = 0; i < 19; ++i)
        add(heartbeat, 100, QByteArray::number(i));
    pass(1);
    addScreenshot(picture());
    add(startSession, 110, "first");
    add(heartbeat, 100, "last");
    add(metadata, 200);
    run();
    ASSERT_EQ(requests.size(), 19u); // the twentieth was the metadata row, which sends nothing
    EXPECT_EQ(requests[0].body, "first");
    for (int i = 1; i < 19; ++i)
        EXPECT_EQ(requests[i].body, QByteArray::number(i - 1));
    EXPECT_EQ(rows(), "heartbeat pending 0, heartbeat pending 0, screenshot pending 0");
    run();
    EXPECT_EQ(requests[20].body, "last");
}

TEST_F(Upload, isRefusedByAnOpenCircuitButStillQueuesSegments) {
    for (int i = 0; i < 7; ++i)
        add(startSession);
    answer(503);
    run(); // ends with the failure that opens the circuit
    EXPECT_EQ(sent(), "start start start start start");
    closedSegment(3);
    machine.path.set(false); // offline as it may seem
    run();
    EXPECT_EQ(requests.size(), 5u);
    EXPECT_TRUE(rows().startsWith("activitySegment pending 0, "));
    answer(200);
    pass(60);
    run();
    EXPECT_EQ(rows(), "");
}

TEST_F(Upload, sendsAllSegmentsThatAreClosedAndMarksWhatWasAccepted) {
    zones.store("Asia/Ho_Chi_Minh"); // now is slot 31 of 15 November there
    for (const int number : {9, 10, 11})
        closedSegment(number);
    store->upsertActivitySegment({"2023-11-15", 31, 60, 60, 1, 1});
    service.enqueueActivitySegmentsForUpload(SegmentUtils::DateAndNumber{"2023-11-13", 11});
    service.enqueueActivitySegmentsForUpload(std::nullopt); // one live task is enough
    EXPECT_EQ(rows(), "activitySegment pending 0");
    const auto unsentAfter = [&](const QByteArray& reply) {
        answer(200, reply);
        run();
        EXPECT_EQ(rows(), "");
        return sql("SELECT segment_number FROM activity_segments WHERE uploaded_at IS NULL ORDER BY 1");
    };
    EXPECT_EQ(unsentAfter(R"({"data":{"accepted":[1,-1,2,7]}})"), "9, 11, 31");
    const QJsonValue sent = QJsonDocument::fromJson(requests[0].body)["segments"];
    EXPECT_TRUE(sent[1]["segment_number"] == 10 && sent[2].isUndefined());
    EXPECT_EQ(sent[1]["timezone"], "Asia/Ho_Chi_Minh");
    // What was not accepted is offered again by each run; an unreadable answer takes nothing.
    for (const char* reply : {"<html>", R"({"data":{"accepted":[0,"1"]}})"})
        EXPECT_EQ(unsentAfter(reply), "9, 11, 31");
    const QByteArray takesTwo = R"({"data":{"accepted":[0,1]}})";
    EXPECT_EQ(unsentAfter(takesTwo), "31");
    service.enqueueActivitySegmentsForUpload(std::nullopt);
    EXPECT_EQ(unsentAfter(takesTwo), "31"); // nothing is closed: no request
    EXPECT_EQ(requests.size(), 4u);
}

TEST_F(Upload, takesATakeoverUpOnceWhicheverPathSeesItAndLeavesPictures) {
    const auto fillQueue = [&] { add(heartbeat, 100), add(heartbeat, 90), add(startSession, 50); };
    add(startSession, 5); // of somebody else
    sql("UPDATE upload_queue SET session_id = 'another'");
    addScreenshot(picture());
    fillQueue();
    answer(409);
    EXPECT_FALSE(await(service.uploadHeartbeatNow(sampleSession())));
    EXPECT_EQ(rows(), "screenshot pending 0, startSession pending 0");
    fillQueue();
    answer(404);
    run();
    EXPECT_EQ(sent(), "heartbeat heartbeat screenshots start");
    EXPECT_EQ(rows(), "screenshot failed 1");
    EXPECT_EQ(heard, QStringList(sessionText + " gone 409"));
}

TEST_F(Upload, launchMendsTheQueueAndAdoptsStrandedPictures) {
    zones.store("Pacific/Kiritimati"); // UTC+14: there, thirty days ago is 16 October 2023
    store->enqueueUploadTask(storedTask(1, heartbeat), "other.test");
    sql("UPDATE upload_queue SET status = 'inProgress', retry_count = 3, next_attempt_at = 1e10");
    store->enqueueUploadTask(storedTask(2, heartbeat), "global");
    for (const char* day : {"2023-10-15", "2023-10-16"})
        store->upsertActivitySegment({day, 3, 1, 1, 1, 1}, "other.test");
    const Seconds week = 604800;
    const std::tuple<const char*, QString, Seconds, char> files[] = {
        // 'a'dopted, 'k'ept as it is, 'd'eleted
        {"acme.test", sessionText + "_t_0.jpg", week, 'a'},
        {"acme.test", sessionText.toLower() + "_t_1.JPG", 5, 'a'},
        {"acme.test", sessionText + "_later_0.jpg", -99, 'a'},
        {"acme.test", "notes_0.jpg", week, 'k'},
        {"acme.test", sessionText + "_t_4.jpg", week + 1, 'd'},
        {"other.test", sessionText + "_t_6.jpg", week + 1, 'd'},
    };
    for (const auto& [company, name, age, fate] : files)
        file(name, age, company);
    addScreenshot(file(sessionText + "_queued_0.jpg", 5));
    reply(Network::failure(URLError::Code::networkConnectionLost));
    await(service.start());
    EXPECT_EQ(sql("SELECT segment_date FROM activity_segments"), "2023-10-16");
    EXPECT_EQ(sql("SELECT DISTINCT type, retry_count, domain_key FROM upload_queue ORDER BY 1"),
              "heartbeat 3 other.test, screenshot 0 acme.test");
    for (const auto& [company, name, age, fate] : files) {
        const QString path = folder + "/captures/" + company + u'/' + name;
        EXPECT_EQ(QFile::exists(path), fate != 'd') << qPrintable(path);
        EXPECT_EQ(store->hasScreenshotTask(QUuid(sessionText), path), fate == 'a') << qPrintable(path);
    }
    pass(1); // the first run comes at once
    EXPECT_EQ(sent(), "screenshots screenshots screenshots screenshots");
    EXPECT_EQ(sql("SELECT status FROM upload_queue WHERE type = 'heartbeat'"), "pending");
}

TEST_F(Upload, runsOneAtATimeThirtySecondsAfterTheLastHasEnded) {
    await(service.start());
    pass(1);
    const LogCapture log;
    add(heartbeat);
    reply(Network::answer(200, R"({"data":{"accepted":[0]}})", 7));
    pass(30); // the second run is one second old
    closedSegment(3);
    run();
    EXPECT_EQ(log.count("processQueue skipped: already processing"), 1);
    pass(13 + 29.9); // it also finds the task that the refused one added
    EXPECT_EQ(sent(), "heartbeat batch");
    EXPECT_EQ(log.count("no tasks in queue"), 0);
    pass(0.2);
    EXPECT_EQ(log.count("no tasks in queue"), 1);
}

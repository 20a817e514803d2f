#include "UploadWorld.h"
#include "storage/PreferenceStores.h"

#include <QSaveFile>

using namespace Qt::StringLiterals;

TEST_F(Upload, sendsTwentyTasksARun) {
    for (int i = 0; i < 21; ++i)
        add(heartbeat, 100, QByteArray::number(i));
    add(metadata, 200);
    run();
    ASSERT_EQ(requests.size(), 19u); // the metadata row sends nothing
    EXPECT_EQ(rows(), "heartbeat pending 0, heartbeat pending 0");
    run();
    for (int i = 0; i < 21; ++i)
        EXPECT_EQ(requests.at(i).body, QByteArray::number(i));
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
    machine.preferences.set(PreferenceKey::deviceId, "DEVICE");
    store->upsertActivitySegment({"2023-11-12", 9, 601, 1200, 3, 4});
    store->upsertActivitySegment({"2023-11-13", 10, 150, -5, 0, 9});
    closedSegment(11);
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
    const QByteArray takesTheSecond =
        R"({"data":{"accepted":[1,-1,2,7],"rejected":[{"index":0,"reason":"x"}]},"success":false})";
    EXPECT_EQ(unsentAfter(takesTheSecond), "9, 11, 31");
    EXPECT_EQ(requests[0].body, // a share of a whole slot, which cannot be more
              R"({"device_uuid":"DEVICE","segments":[)"
              R"({"activity_rate":100,"key_press_count":4,"mouse_movements":3,"non_idle_percent":100,)"
              R"("segment_date":"2023-11-12","segment_number":9,"timezone":"Asia/Ho_Chi_Minh"},)"
              R"({"activity_rate":25,"key_press_count":9,"mouse_movements":0,"non_idle_percent":0,)"
              R"("segment_date":"2023-11-13","segment_number":10,"timezone":"Asia/Ho_Chi_Minh"}]})");
    // What was not accepted is offered again by each run; an unreadable answer takes nothing.
    for (const char* data :
         {"[0]", "{}", R"({"accepted":[0,"1"]})", R"({"accepted":[0,null]})", R"({"accepted":[0],"rejected":"x"})"})
        EXPECT_EQ(unsentAfter("{\"data\":" + QByteArray(data) + "}"), "9, 11, 31") << data;
    const QByteArray takesTwo = R"({"data":{"accepted":[0,1]}})";
    EXPECT_EQ(unsentAfter(takesTwo), "31");
    service.enqueueActivitySegmentsForUpload(std::nullopt);
    EXPECT_EQ(unsentAfter(takesTwo), "31"); // nothing is closed: no request
    EXPECT_EQ(requests.size(), 7u);
}

TEST_F(Upload, FilesWhatBelongsToACompanyThatWasLeftUnderThatCompany) {
    closedSegment(3);
    useCompany("other.test");
    closedSegment(3);
    useCompany("acme.test");
    machine.urlSession.setServer([this](const URLRequest&) {
        useCompany("other.test");
        return Network::answer(200, R"({"data":{"accepted":[0]}})");
    });
    run();
    EXPECT_EQ(sql("SELECT domain_key FROM activity_segments WHERE uploaded_at IS NULL"), "other.test");
    EXPECT_EQ(rows(), "");
    picture();
    EXPECT_FALSE(await(service.uploadHeartbeatNow(sampleSession(), "acme.test")));
    EXPECT_EQ(requests.size(), 1U);
    service.enqueueScreenshotsForSession(QUuid(sessionText), "acme.test");
    EXPECT_EQ(rows(), "") << "not on the caller's thread";
    pass(0);
    EXPECT_EQ(sql("SELECT type, domain_key FROM upload_queue"), "screenshot acme.test");
}

TEST_F(Upload, WritesTheRowsOfASessionsPicturesAndTheMarksOfABatchInOneTransactionEach) {
    sql("CREATE TRIGGER refuseRow BEFORE INSERT ON upload_queue WHEN EXISTS (SELECT 1 FROM upload_queue) "
        "BEGIN SELECT RAISE(ABORT, 'full'); END;"
        "CREATE TRIGGER refuseMark BEFORE UPDATE ON activity_segments WHEN NEW.segment_number = 4 "
        "BEGIN SELECT RAISE(ABORT, 'full'); END");
    for (int display = 0; display < 3; ++display)
        file(sessionText + u"_2023-11-14T22-13-20Z_%1.jpg"_s.arg(display));
    service.enqueueScreenshotsForSession(QUuid(sessionText), "acme.test");
    pass(0);
    EXPECT_EQ(rows(), "");
    for (const int number : {3, 4, 5})
        closedSegment(number);
    answer(200, R"({"data":{"accepted":[0,1,1,2]}})");
    run();
    EXPECT_EQ(sql("SELECT count(*) FROM activity_segments WHERE uploaded_at IS NULL"), "3");
}

TEST_F(Upload, SendsNothingOfASessionBeforeItsStart) {
    queue(service.sessionStartTask(sampleSession()));
    queue(service.sessionEndTask(sampleSession()));
    addScreenshot(picture());
    UploadTask ofAnother = storedTask(1, metadata, 5);
    ofAnother.sessionId = numberedId(8);
    queue(ofAnother);
    reply(Network::failure(URLError::Code::notConnectedToInternet));
    run();
    EXPECT_FALSE(heartbeatNow());
    EXPECT_EQ(sent(), "start");
    EXPECT_EQ(rows(), "startSession failed 0, heartbeat pending 0, screenshot pending 0");
    answer(200);
    pass(91);
    run();
    EXPECT_TRUE(heartbeatNow());
    EXPECT_EQ(sent(), "start start heartbeat screenshots heartbeat");
}

TEST_F(Upload, TakesAStartThatCannotBeLookedForAsOneThatWaits) {
    const LogCapture log;
    sql("ALTER TABLE upload_queue RENAME COLUMN session_id TO elsewhere");
    answer(404);
    EXPECT_FALSE(heartbeatNow());
    EXPECT_EQ(sent(), "");
    EXPECT_EQ(heard, QStringList());
}

TEST_F(Upload, TakesNoSessionForTakenOverThatTheServerHasNotAccepted) {
    add(startSession);
    answer(422);
    run();
    answer(404); // the server knows no session before its start
    EXPECT_FALSE(heartbeatNow());
    add(heartbeat);
    run();
    EXPECT_EQ(rows(), "");
    add(heartbeat);
    machine.urlSession.setServer([this](const URLRequest&) {
        queue(service.sessionStartTask(sampleSession())); // it was resumed meanwhile
        return Network::answer(404);
    });
    run();
    EXPECT_EQ(sql("SELECT type, status, retry_count FROM upload_queue WHERE type = 'heartbeat'"), "heartbeat failed 0");
    EXPECT_EQ(heard, QStringList());
}

TEST_F(Upload, BelievesAHeartbeatThatIsAcceptedThoughTheStartWasRefused) {
    add(startSession);
    answer(409); // as after a lost answer to the first attempt
    run();
    answer(200);
    EXPECT_TRUE(heartbeatNow());
    answer(404);
    EXPECT_FALSE(heartbeatNow());
    EXPECT_EQ(heard, QStringList(sessionText + " gone 404"));
}

TEST_F(Upload, TakesATakeoverUpWhicheverPathSeesItAndLeavesPictures) {
    const auto fillQueue = [&] { add(heartbeat, 100), add(heartbeat, 90); };
    add(startSession, 5); // of somebody else
    sql("UPDATE upload_queue SET session_id = 'another'");
    addScreenshot(picture());
    fillQueue();
    answer(409);
    EXPECT_FALSE(heartbeatNow());
    EXPECT_EQ(rows(), "screenshot pending 0, startSession pending 0");
    fillQueue();
    answer(404);
    run();
    EXPECT_EQ(sent(), "heartbeat heartbeat screenshots start");
    EXPECT_EQ(rows(), "screenshot failed 1");
    EXPECT_EQ(heard, QStringList({sessionText + " gone 409", sessionText + " gone 404"}));
}

TEST_F(Upload, EnqueuesNoHalfWrittenPictureAndTheLaunchSweepsIt) {
    const QString captures = QFileInfo(file("of-no-session")).path();
    QSaveFile half(captures + u'/' + sessionText + "_t_0.jpg");
    ASSERT_TRUE(half.open(QFile::WriteOnly) && half.write("half") && half.flush());
    service.enqueueScreenshotsForSession(QUuid(sessionText), domain.domainKey());
    pass(0);
    EXPECT_EQ(rows(), "");
    ASSERT_TRUE(half.setFileTime((machine.clock.now() - 61).toDateTime(QTimeZone::utc()), QFile::FileModificationTime));
    await(service.start());
    EXPECT_EQ(QDir(captures).entryList(QDir::Files), QStringList("of-no-session"));
}

TEST_F(Upload, launchMendsTheQueueAndAdoptsStrandedPictures) {
    zones.store("Pacific/Kiritimati"); // UTC+14: there, thirty days ago is 16 October 2023
    store->enqueueUploadTask(storedTask(1, heartbeat), "other.test");
    sql("UPDATE upload_queue SET status = 'inProgress', retry_count = 3, next_attempt_at = 1e10");
    store->enqueueUploadTask(storedTask(2, heartbeat), "global");
    sql("INSERT INTO sessions VALUES ('a','global','','','',x'',1);"
        "INSERT INTO activity_segments VALUES ('global','2023-11-01',1,1,1,1,1,NULL,''),"
        "('acme.test','2023-11-01',2,0,0,0,0,NULL,''),('acme.test','2020-01-01',3,1,0,0,0,NULL,''),"
        "('other.test','2023-10-15',4,1,0,0,0,NULL,''),('other.test','2023-10-16',5,1,0,0,0,NULL,''),"
        "('other.test','2020-01-01',6,1,0,0,0,5,'')");
    const Seconds week = 604800;
    const std::pair<QString, char> files[] = {
        // 'a'dopted, 'k'ept as it is, 'd'eleted
        {file(sessionText + "_t_0.jpg", week), 'a'},
        {file(sessionText.toLower() + "_t_1.JPG", 5), 'a'},
        {file(sessionText + "_later_0.jpg", -99), 'a'},
        {file("notes_0.jpg", week), 'k'},
        {file(sessionText + "_t_4.jpg", week + 1), 'd'},
        {file(sessionText + "_t_6.jpg", week + 1, "other.test"), 'd'},
        {file(sessionText + "_t_8.jpg.aBcDeF", 61, "other.test"), 'd'},
        {file(sessionText + "_t_9.jpg.aBcDeF", 59), 'k'},
    };
    addScreenshot(file(sessionText + "_queued_0.jpg", 5));
    reply(Network::failure(URLError::Code::networkConnectionLost));
    const LogCapture log;
    await(service.start());
    EXPECT_TRUE(log.contains("removed 4 unattributable row(s)"));
    EXPECT_EQ(sql("SELECT segment_number FROM activity_segments ORDER BY 1"), "3, 5, 6");
    EXPECT_EQ(sql("SELECT domain_key FROM sessions; SELECT DISTINCT type, retry_count, domain_key "
                  "FROM upload_queue ORDER BY 1"),
              "global, activitySegment 0 acme.test, heartbeat 3 other.test, screenshot 0 acme.test");
    for (const auto& [path, fate] : files) {
        EXPECT_EQ(QFile::exists(path), fate != 'd') << qPrintable(path);
        EXPECT_EQ(store->hasScreenshotTask(QUuid(sessionText), path, "acme.test"), fate == 'a') << qPrintable(path);
    }
    pass(1); // the first run comes at once
    EXPECT_EQ(sent(), "batch screenshots screenshots screenshots screenshots");
    EXPECT_EQ(sql("SELECT status FROM upload_queue WHERE type = 'heartbeat'"), "pending");
}

TEST_F(Upload, SendsARowWhenDueThoughTheDatabaseTakesNoNoteOfIt) {
    const struct {
        const char* refused;
        int status;
        const char *sent, *sentOnceNoted, *sentWhenDue;
    } cases[] = {
        {"DELETE ON upload_queue", 200, "heartbeat", "heartbeat", "heartbeat"},
        {"UPDATE ON upload_queue WHEN OLD.status = 'inProgress'", 500, "heartbeat", "heartbeat", "heartbeat heartbeat"},
        {"UPDATE ON upload_queue", 200, "", "heartbeat", "heartbeat"},
    };
    for (const auto& [refused, status, sentNow, sentOnceNoted, sentWhenDue] : cases) {
        SCOPED_TRACE(refused);
        const LogCapture log;
        requests.clear();
        add(heartbeat);
        answer(status);
        sql(QByteArray("CREATE TRIGGER t BEFORE ") + refused + " BEGIN SELECT RAISE(ABORT, 'refused'); END");
        run();
        run();
        EXPECT_EQ(sent(), sentNow);
        sql("DROP TRIGGER t");
        answer(200);
        run();
        EXPECT_EQ(sent(), sentOnceNoted);
        pass(5); // the delay after a first failure
        run();
        EXPECT_EQ(sent(), sentWhenDue);
        EXPECT_EQ(rows(), "");
    }
}

TEST_F(Upload, NotesWhatBecameOfARowThoughItsCompanyWasLeftMeanwhile) {
    add(heartbeat);
    reply(Network::answer(200, {}, 7));
    spawn(service.processQueue(), "run");
    pass(1);
    useCompany("other.test");
    pass(20);
    EXPECT_EQ(sent(), "heartbeat");
    EXPECT_EQ(rows(), "");
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

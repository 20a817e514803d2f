#include "UploadWorld.h"
#include "platform/linux/network/LinuxURLSession.h"
#include "tests/support/LoopbackServer.h"

TEST_F(Upload, overHTTPEachKindOfTaskArrivesAndARefreshedTokenRepeatsOnce) {
    const LoopbackServer server(answering([](const URLRequest& request) {
        const bool isExpired = request.header("Authorization") == "Bearer first-token";
        return isExpired ? URLResponse{401, {}, {}}
                         : URLResponse{200, {}, R"({"data":{"today_total_seconds":9,"today_date":"d"}})"};
    }));
    LinuxURLSession http{"tests/1"};
    domain.setBaseURL(server.url("/api/v1/"));
    sendOver(http, machine.urlSession);
    zones.store("Asia/Ho_Chi_Minh");
    refreshedToken = "second-token";
    const QByteArray bytes("\xff\xd8\0\r\n--\xff", 8);
    const QString mine = file(sessionText + "_2023-11-14T22-13-20Z_0.jpg", 0, "127.0.0.1", bytes);
    addScreenshot(mine);
    for (const auto& task : {service.sessionStartTask(sampleSession()), service.sessionEndTask(sampleSession())})
        store->enqueueUploadTask(task.value());
    service.enqueueScreenshotsForSession(QUuid(sessionText), domain.domainKey());
    pass(0); // finds a live task for each file
    const QString pending = u' ' + sessionText + " pending 0 0.0 ", shot = "screenshot 10" + pending + mine;
    EXPECT_EQ(sql("SELECT type, priority, session_id, status, retry_count, next_attempt_at, file_path"
                  " FROM upload_queue ORDER BY priority DESC"),
              "startSession 110" + pending + "NULL, heartbeat 100" + pending + "NULL, " + shot);
    const QString queuedBody = sql("SELECT json_payload FROM upload_queue WHERE type = 'heartbeat'");
    closedSegment(9);
    run();
    EXPECT_EQ(rows(), "");
    EXPECT_FALSE(QFile::exists(mine));
    EXPECT_EQ(heard, QStringList(3, "d 9 s")); // by all but the picture

    const auto& arrived = server.requests;
    ASSERT_EQ(arrived.size(), 8u);
    const char* const paths[] = {"sessions/start", "sessions/heartbeat", "segments/batch",
                                 "sessions/0A1B2C3D-0000-4000-8000-000000000007/screenshots"};
    for (std::size_t i = 0; i < arrived.size(); ++i) {
        EXPECT_EQ(arrived[i].method + ' ' + arrived[i].url.path().toUtf8(),
                  QByteArray("POST /api/v1/hr/timetracker/employees/") + paths[i / 2]);
        EXPECT_EQ(arrived[i].header("Authorization"), i % 2 ? "Bearer second-token" : "Bearer first-token");
        EXPECT_EQ(requests[i].body, requests[i - i % 2].body);
    }
    EXPECT_EQ(arrived[0].body, R"({"device_uuid":"DEVICE","session_uuid":"0A1B2C3D-0000-4000-8000-000000000007",)"
                               R"("started_at":"2024-05-01T16:30:00+07:00","task_id":"41"})");
    EXPECT_EQ(arrived[2].body, queuedBody);
    EXPECT_EQ(QJsonDocument::fromJson(arrived[4].body)["segments"][0]["segment_number"], 9);
    EXPECT_TRUE(requests[7].body.contains(sessionText.toUtf8() + "_2023-11-15T05-13-20+07-00_0.jpg"));
    EXPECT_TRUE(requests[7].body.contains("\r\n\r\n" + bytes + "\r\n--"));
}

TEST_F(Upload, RepeatsNothingForACompanyOrAUserThatWasLeftDuringTheRefresh) {
    refreshedToken = "of somebody else";
    const std::function<void()> changes[] = {[this] { useCompany("other.test"); },
                                             [this] { domain.setUser("another@acme.test"); }};
    for (const auto& change : changes) {
        useCompany("acme.test");
        domain.setUser("one@acme.test");
        add(heartbeat);
        machine.urlSession.setServer([&](const URLRequest&) {
            change();
            return Network::answer(401);
        });
        requests.clear();
        EXPECT_FALSE(heartbeatNow());
        useCompany("acme.test");
        domain.setUser("one@acme.test");
        run();
        EXPECT_EQ(sent(), "heartbeat heartbeat");
        EXPECT_EQ(sql("SELECT DISTINCT retry_count FROM upload_queue"), "0");
        sql("DELETE FROM upload_queue");
    }
    EXPECT_EQ(refreshes, 4);
}

TEST_F(Upload, logsTheExchangeWithoutSecrets) {
    for (const char* body :
         {R"({"message":"no \"Bearer s3cret\" here"})", R"({"errors":{"password":"s3cret"}})", "Bearer s3cret"}) {
        add(heartbeat, 10, R"({"token":"s3cret","n":1})");
        answer(418, body);
        const LogCapture log;
        run();
        const QString said = log.lines().join('\n');
        EXPECT_TRUE(said.contains("\nPayload: {") && said.contains("API error 418 ")) << qPrintable(said);
        EXPECT_FALSE(said.contains("s3cret") || said.contains("first-token")) << qPrintable(said);
    }
}

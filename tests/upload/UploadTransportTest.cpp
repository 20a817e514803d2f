#include "APIError.h"
#include "LinuxURLSession.h"
#include "ScriptedServer.h"
#include "UploadWorld.h"

#include <QRegularExpression>
#include <future>

TEST_F(Upload, overHTTPEachKindOfTaskArrivesAndARefreshedTokenRepeatsOnce) {
    const ScriptedServer server([](const URLRequest& request) {
        const bool isExpired = request.header("Authorization") == "Bearer first-token";
        return isExpired ? URLResponse{401, {}, {}}
                         : URLResponse{200, {}, R"({"data":{"today_total_seconds":9,"today_date":"d"}})"};
    });
    LinuxURLSession http;
    machine.urlSession.setServer([&](const URLRequest& request) {
        std::promise<URLSession::Result> answered;
        http.send(request, [&](URLSession::Result result) { answered.set_value(std::move(result)); });
        return Network::Reply{answered.get_future().get()};
    });
    domain.setBaseURL(server.root());
    zones.store("Asia/Ho_Chi_Minh");
    refreshedToken = "second-token";
    const QByteArray bytes("\xff\xd8\0\r\n--\xff", 8);
    const QString mine = file(sessionText + "_2023-11-14T22-13-20Z_0.jpg", 0, "127.0.0.1", bytes);
    addScreenshot(mine);
    const LogCapture log;
    service.enqueueSessionStart(sampleSession());
    service.enqueueSessionUpload(sampleSession());
    service.enqueueScreenshotsForSession(QUuid(sessionText)); // finds a live task for each file
    EXPECT_EQ(log.lines(), QStringList("Enqueueing 1 screenshot(s) for session " + sessionText));
    const QString pending = QString(" %1 pending 0 0.0 ").arg(sessionText);
    EXPECT_EQ(sql("SELECT type, priority, session_id, status, retry_count, next_attempt_at, file_path"
                  " FROM upload_queue ORDER BY priority DESC"),
              QStringList({"startSession 110" + pending + "NULL", "heartbeat 100" + pending + "NULL",
                           "screenshot 10" + pending + mine, "screenshot 10" + pending + mine}));
    const QByteArray heartbeat = sql("SELECT json_payload FROM upload_queue").at(2).toUtf8();
    closedSegment(9);
    run();
    EXPECT_EQ(rows(), ""); // the second row of the file ended as "file not found"
    EXPECT_FALSE(QFile::exists(mine));
    const QString total = "server today_total via %1: 9s @ d";
    EXPECT_EQ(log.lines().filter("today_total via"),
              QStringList(
                  {total.arg("start-session"), total.arg("heartbeat-queued"), total.arg("segments-batch")}));

    const auto arrived = server.requests();
    ASSERT_EQ(arrived.size(), 8u);
    const char* const paths[] = {"sessions/start", "sessions/heartbeat", "segments/batch",
                                 "sessions/0A1B2C3D-0000-4000-8000-000000000007/screenshots"};
    for (std::size_t i = 0; i < arrived.size(); ++i) {
        const URLRequest& request = arrived[i];
        const QByteArray token = i % 2 == 0 ? "Bearer first-token" : "Bearer second-token";
        EXPECT_EQ(request.method + ' ' + request.url.path().toUtf8(),
                  QByteArray("POST /api/v1/hr/timetracker/employees/") + paths[i / 2]);
        EXPECT_EQ(request.header("app-client") + ' ' + request.header("Accept"), "ios application/json");
        EXPECT_EQ(request.header("Authorization"), token);
        EXPECT_EQ(request.header("Content-Type") == "application/json", i < 6);
        EXPECT_EQ(requests[i].body, requests[i - i % 2].body);
        EXPECT_EQ(requests[i].timeout, 120);
    }
    EXPECT_EQ(arrived[0].body,
              R"({"device_uuid":"DEVICE","session_uuid":"0A1B2C3D-0000-4000-8000-000000000007",)"
              R"("started_at":"2024-05-01T16:30:00+07:00","task_id":"41"})");
    EXPECT_EQ(arrived[2].body, heartbeat);
    EXPECT_EQ(jsonObject(arrived[2].body)["status"], "completed");
    EXPECT_EQ(jsonObject(arrived[4].body)["segments"][0]["segment_number"], 9);
    static const QRegularExpression form("^multipart/form-data; boundary=(Boundary-[0-9A-F-]{36})$");
    const QByteArray boundary = form.match(QString(arrived[7].header("Content-Type"))).captured(1).toUtf8();
    const QByteArray disposition = "Content-Disposition: form-data; name=\"screenshots[]\"; filename=\"" +
                                   sessionText.toUtf8() + "_2023-11-15T05-13-20+07-00_0.jpg\"";
    EXPECT_EQ(requests[7].body, "--" + boundary + "\r\n" + disposition +
                                    "\r\nContent-Type: image/jpeg\r\n\r\n" + bytes + "\r\n--" + boundary +
                                    "--\r\n");
}

TEST_F(Upload, requestWithoutASignInHasNoToken) {
    keychain.deleteAuthTokens();
    EXPECT_EQ(transport.makeRequest("a/b", "POST", "x/y").headers,
              (HTTPHeaders{{"app-client", "ios"}, {"Content-Type", "x/y"}, {"Accept", "application/json"}}));
    EXPECT_THROW(transport.makeRequest("../../elsewhere", "POST", "x/y"), APIError);
}

TEST_F(Upload, logsTheExchangeWithoutSecrets) {
    add(UploadTaskType::heartbeat, 10, R"({"token":"s3cret","n":1})");
    const std::pair<QByteArray, QString> answers[] = {
        {R"({"message":"no \"Bearer abc\" here","errors":[1]})", R"(no "Bearer <redacted>" here)"},
        {R"({"message":7,"errors":"e"})", ": e"},
        {R"({"errors":5,"n":1})", ": 5"},
        {R"({"errors":{"password":"s3cret"}})", "\"password\":\"<redacted>\""},
        {QByteArray(500, 'x'), ": " + QString(500, 'x')},
        {"\xff\xfe", "Non-UTF8 binary payload (2 bytes)"},
        {QByteArray(2600, 'y'), "…(2600 chars total)"},
        {"", ""},
    };
    const QString path = "/api/v1/hr/timetracker/employees/sessions/heartbeat";
    for (const auto& [body, told] : answers) {
        answer(418, body);
        const LogCapture log;
        sql("UPDATE upload_queue SET next_attempt_at = 0, retry_count = 0");
        run();
        const QString said = log.lines().join('\n');
        EXPECT_TRUE(said.startsWith("API request: POST " + path + "\nPayload: {")) << qPrintable(said);
        EXPECT_TRUE(said.contains("\nAPI response: POST " + path + " -> 418\n")) << qPrintable(said);
        EXPECT_EQ(said.contains("\nAPI error 418 " + path + ": "), !told.isEmpty()) << qPrintable(said);
        EXPECT_TRUE(said.contains(told)) << qPrintable(said);
        EXPECT_FALSE(said.contains("s3cret") || said.contains("first-token"));
    }
}

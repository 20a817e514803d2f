#include "BackendTest.h"

namespace {

struct TrackingTest : BackendTest {
    const std::string session = "BBBBBBBB-0000-4000-8000-000000000001";
    const std::string about = R"({"task_id":"101","started_at":"2025-03-14T11:00:00+01:00","session_uuid":")" +
                              session + R"(","device_uuid":"AAAAAAAA-0000-4000-8000-000000000001")";
    const std::string pictureName = session + "_2025-03-14T11-01-00+01-00_0.jpg";
    /// The smallest bytes that tell a size, 1920 by 1080.
    const std::string picture{"\xff\xd8\xff\xe0\0\4ab\xff\xc4\0\3x\xff\xc0\0\13\10\4\70\7\x80"
                              "abcd\xff\xd9",
                              28};

    TrackingTest() {
        signIn();
        send(start());
    }

    Outgoing upload(const std::string& path, const std::string& body) const {
        return with(with(withBearer(request(employees + path, body)), "app-client", "ios"), "X-App", "");
    }
    Outgoing start() const { return upload("sessions/start", about + "}"); }
    Outgoing heartbeat(const std::string& totalSeconds = "600") const {
        const std::string facts = R"(,"stopped_at":null,"status":"active","mouse_movements":12,
            "key_press_count":34,"activity_rate":56.5,"intervals":[{"started_at":"2025-03-14T11:00:00+01:00",
            "interval_uuid":"CCCCCCCC-0000-4000-8000-000000000001","stopped_at":null}],"total_seconds":)";
        return upload("sessions/heartbeat", about + facts + totalSeconds + "}");
    }
    /// The session has stopped, or its interval, when that was said before.
    static Outgoing stopped(const Outgoing& heartbeat) {
        return replacing(heartbeat, "null", "\"2025-03-14T11:20:00+01:00\"");
    }
    Outgoing screenshot() const {
        const std::string boundary = "Boundary-DDDDDDDD-0000-4000-8000-000000000001";
        const std::string form = "\r\nContent-Disposition: form-data; name=\"screenshots[]\"; filename=\"" +
                                 pictureName + "\"\r\nContent-Type: image/jpeg\r\n\r\n" + picture + "\r\n--";
        return with(upload("sessions/" + session + "/screenshots", "--" + boundary + form + boundary + "--\r\n"),
                    "Content-Type", "multipart/form-data; boundary=" + boundary);
    }
    QJsonValue totalAfter(const Outgoing& request) const { return answer(request)["data"]["today_total_seconds"]; }
};

TEST_F(TrackingTest, ReportsReplaceTheOneBeforeAndTheFinalOneStays) {
    EXPECT_EQ(answer(start())["data"]["ok"], true) << "a repeated start changes nothing";
    expect(404, replacing(heartbeat(), session, "BBBBBBBB-0000-4000-8000-000000000099")); // not begun
    EXPECT_EQ(totalAfter(heartbeat("900")), 900);
    EXPECT_EQ(totalAfter(heartbeat("700")), 700);
    EXPECT_EQ(totalAfter(replacing(stopped(stopped(heartbeat("1200"))), "active", "completed")), 1200);
    EXPECT_EQ(totalAfter(heartbeat("60")), 1200) << "a late report reopened the session";
    EXPECT_EQ(summary()["sessions"][0]["status"], "completed");
    signIn("many@velmora.example");
    for (const Outgoing& foreign : {start(), heartbeat(), screenshot()})
        expect(404, foreign);
}

TEST_F(TrackingTest, BadReportsAreRefusedWithAReasonAndChangeNothing) {
    const Outgoing good = heartbeat();
    expect(422, replacing(good, "BBBBBBBB-", "bbbbbbbb-"), "session_uuid");
    expect(422, replacing(good, "11:00:00+", "11:00:00.5+"), "started_at");
    expect(422, stopped(good), "stopped_at");
    expect(422, replacing(good, "active", "paused"), "status");
    expect(422, replacing(good, "12,", "-1,"), "mouse_movements");
    expect(422, replacing(good, "CCCCCCCC-", "cccccccc-"), "interval_uuid");
    expect(422, replacing(good, "\"status\"", "\"extra\":1,\"status\""), "extra");
    expect(400, with(good, "app-client", "mac"), "app-client");
    EXPECT_EQ(summary()["heartbeats"], 0);
}

TEST_F(TrackingTest, ABatchIsTakenRowByRow) {
    const auto row = [](const std::string& number, const std::string& date, const std::string& keys) {
        return R"({"timezone":"Europe/Berlin","activity_rate":41.5,"mouse_movements":10,
            "non_idle_percent":100,"segment_number":)" +
               number + R"(,"segment_date":")" + date + R"(","key_press_count":)" + keys + "},";
    };
    const std::string rows = row("60", "2025-03-14", "20") + row("144", "2025-03-14", "20") +
                             row("61", "2025-02-29", "20") + row("60", "2025-03-14", "77");
    const std::string batch = R"({"device_uuid":"AAAAAAAA-0000-4000-8000-000000000001","segments":[)";
    const std::string reply = send(upload("segments/batch", batch + rows + "\"no object\"]}")).body;
    for (const char* part :
         {R"("accepted":[0,3])", R"({"index":1,"reason":"segment_number must)",
          R"({"index":2,"reason":"segment_date must)", R"({"index":4,"reason":"segment_date is missing)"})
        EXPECT_NE(reply.find(part), reply.npos) << reply;
    EXPECT_EQ(summary()["segments"], 1);
    EXPECT_EQ(summary()["segment_rows"][0]["key_press_count"], 77) << "a later row replaces an earlier one";
}

TEST_F(TrackingTest, PicturesOfTheRightFormAreKeptAlsoOverARestart) {
    send(heartbeat());
    const Outgoing good = screenshot();
    expect(422, replacing(good, pictureName, "../" + pictureName), "file name");
    expect(422, replacing(good, "T11-01-00", "T25-01-00"), "file name");
    expect(422, replacing(good, picture, "GIF89a"), "JPEG");
    expect(422, replacing(good, "screenshots[]", "screenshot"), "screenshots[]");
    expect(422, replacing(good, "image/jpeg", "image/png"), "image/jpeg");
    expect(200, good);
    expect(200, good);
    const QJsonDocument before = summary();
    EXPECT_EQ(before["screenshots"], 1);
    EXPECT_EQ(before["screenshot_files"][0]["width"], 1920);
    expect(404, request("/media/" + session + "/..%2f..%2f..%2fbackend.sqlite"));

    restart();
    EXPECT_EQ(summary(), before);
    EXPECT_EQ(totalAfter(heartbeat("601")), 601) << "the token did not outlive the restart";
}

TEST_F(TrackingTest, FaultsStrikeAsAskedAndNoOftener) {
    int taken = 0;
    const auto strike = [&](const std::string& fault, int status, int takes) {
        expect(200, request("/control/faults", R"({"kind":")" + fault + "}"));
        EXPECT_EQ(send(heartbeat()).status, status) << fault;
        EXPECT_EQ(summary()["heartbeats"], taken += takes) << fault;
    };
    strike(R"(status","path":"sessions/heartbeat","status":503,"count":2)", 503, 0);
    expect(200, configuration()); // another path
    expect(503, heartbeat());
    strike(R"(status","status":200,"body":"<html>")", 200, 0);
    strike("reset-before\"", -1, 0);
    strike("reset-after\"", -1, 1);
    strike("truncate\"", -1, 1);
    strike(R"(delay","seconds":0.01)", 200, 1);
    expect(200, heartbeat());
    expect(422, request("/control/faults", R"({"kind":"explode"})"));
    send(request("/control/takeover", R"({"session_uuid":")" + session + "\"}"));
    expect(409, heartbeat());
}

TEST_F(TrackingTest, ThePageShowsNoMarkupOfOthers) {
    send(replacing(heartbeat(), "101", "<script>alert(1)</script>"));
    const std::string page = send(request("/")).body;
    EXPECT_TRUE(page.find("&lt;script&gt;") != page.npos && page.find("<script>alert") == page.npos);
}

} // namespace

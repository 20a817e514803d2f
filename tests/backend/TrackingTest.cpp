#include "BackendTest.h"

namespace {

struct TrackingTest : BackendTest {
    TrackingTest() { signIn(); }

    qint64 totalAfter(const Outgoing& request) {
        return send(request).data()[u"today_total_seconds"].toInteger(-1);
    }
    static int totalOf(const QJsonValue& part) { return part[u"stats"][u"total_seconds"].toInt(); }
    QJsonValue onlySession() { return summary()[u"sessions"][0]; }
    Outgoing finalBeat() const {
        const std::string end = "2025-03-14T11:20:00+01:00";
        return heartbeat(R"({"status":"completed","total_seconds":1200,"stopped_at":")" + end +
                         R"(","intervals":[)" + interval(startedAt, end) + "]}");
    }
};

TEST_F(TrackingTest, ReportsReplaceTheOneBeforeAndTheFinalOneStays) {
    for (int attempt = 0; attempt < 2; ++attempt)
        EXPECT_TRUE(send(start(session, startedAt, device)).data()[u"ok"].toBool());
    EXPECT_EQ(totalAfter(beat("total_seconds", "900")), 900);
    EXPECT_EQ(totalAfter(beat("total_seconds", "700")), 700);
    EXPECT_EQ(totalAfter(finalBeat()), 1200);
    EXPECT_EQ(totalAfter(beat("total_seconds", "60")), 1200) << "a late report reopened the session";
    EXPECT_TRUE(text(onlySession()[u"status"]) == "completed" && onlySession()[u"heartbeats"].toInt() == 4);
    signIn("many@velmora.example");
    for (const Outgoing& foreign : {start(session, startedAt, device), heartbeat(), screenshot()})
        EXPECT_EQ(send(foreign).status, 404);
}

TEST_F(TrackingTest, ATakeoverConflictsOnDemandAndByALaterSessionOfAnotherDevice) {
    const std::string other = "BBBBBBBB-0000-4000-8000-000000000002",
                      last = "BBBBBBBB-0000-4000-8000-000000000003";
    EXPECT_EQ(send(heartbeat()).status, 200);
    send(start(other, "2025-03-14T10:00:00+01:00", otherDevice)); // earlier, arrived late
    EXPECT_EQ(send(heartbeat()).status, 200);
    send(start(last, "2025-03-14T11:50:00+01:00", otherDevice));
    EXPECT_EQ(send(heartbeat()).status, 409);
    const auto mine = [&] { return send(start(last, startedAt, otherDevice)).status; };
    EXPECT_EQ(mine(), 200);
    control("takeover", "{\"session_uuid\":\"" + last + "\"}");
    EXPECT_EQ(mine(), 409);
}

TEST_F(TrackingTest, TodaysTotalFollowsTheCompanysMidnight) {
    clock = clock + 12 * 3600; // 2025-03-15T00:00:00+01:00
    signIn();
    EXPECT_EQ(totalAfter(heartbeat()), 0) << "yesterday's session counts for today";
    EXPECT_EQ(totalAfter(heartbeat(R"({"session_uuid":"BBBBBBBB-0000-4000-8000-000000000002",
                                       "started_at":"2025-03-15T00:00:00+01:00","total_seconds":5})")),
              5);
    control("config", R"({"app_timezone":"America/New_York"})");
    EXPECT_EQ(text(configuration().data()[u"today_date"]), "2025-03-14");
    EXPECT_EQ(configuration().data()[u"today_total_seconds"].toInt(), 605);
}

TEST_F(TrackingTest, BadReportsAreRefusedWithAReasonAndChangeNothing) {
    const Outgoing good = heartbeat();
    const auto bad = [&](const char* key, const std::string& value) {
        return Case{key, beat(key, value), 422};
    };
    expectAnswers({
        bad("session_uuid", "\"bbbbbbbb-0000-4000-8000-000000000001\""),
        bad("started_at", "\"2025-03-14T11:00:00.5+01:00\""),
        bad("stopped_at", "\"" + startedAt + "\""),
        bad("status", "\"paused\""),
        bad("mouse_movements", "-1"),
        {"interval_uuid", replacing(good, "CCCCCCCC-", "cccccccc-"), 422},
        bad("extra", "1"),
        {"app-client", with(good, "app-client", "mac"), 400},
    });
    EXPECT_TRUE(summary()[u"sessions"].toArray().isEmpty());
}

TEST_F(TrackingTest, ABatchIsTakenRowByRow) {
    const std::pair<QJsonValue, const char*> rows[] = {
        {row(60), nullptr},
        {row(144), "segment_number"},
        {row(61, R"({"segment_date":"2025-02-29"})"), "segment_date"},
        {u"no object"_qs, "segment_date"},
        {row(60, R"({"key_press_count":77})"), nullptr},
    };
    QJsonArray sent;
    for (const auto& each : rows)
        sent.append(each.first);
    const QJsonObject data = send(batch(sent)).data();
    EXPECT_EQ(data[u"accepted"].toArray(), (QJsonArray{0, 4}));
    EXPECT_EQ(data[u"rejected"].toArray().size(), 3);
    for (const QJsonValue& refused : data[u"rejected"].toArray())
        EXPECT_EQ(text(refused[u"reason"]).find(rows[refused[u"index"].toInt()].second), 0U);
    EXPECT_EQ(summary()[u"segments"].toInt(), 1);
    EXPECT_EQ(summary()[u"segment_rows"][0][u"key_press_count"].toInt(), 77)
        << "a later row replaces an earlier one";
}

TEST_F(TrackingTest, PicturesOfTheRightFormAreKeptAlsoOverARestart) {
    send(heartbeat());
    const Outgoing good = screenshot();
    expectAnswers({
        {"file name", replacing(good, pictureName, "../" + pictureName), 422},
        {"file name", replacing(good, "T11-01-00", "T25-01-00"), 422},
        {"JPEG", replacing(good, picture, "GIF89a"), 422},
        {"screenshots[]", replacing(good, "screenshots[]", "screenshot"), 422},
        {"image/jpeg", replacing(good, "image/jpeg", "image/png"), 422},
        {"", good, 200},
        {"", good, 200},
    });
    EXPECT_EQ(summary()[u"screenshots"].toInt(), 1);
    EXPECT_EQ(summary()[u"screenshot_files"][0][u"width"].toInt(), 1920);
    EXPECT_EQ(get("/media/" + session + "/..%2f..%2f..%2fbackend.sqlite").status, 404);

    const QJsonObject before = summary();
    restart();
    EXPECT_EQ(summary(), before);
    EXPECT_EQ(totalAfter(beat("total_seconds", "601")), 601) << "the token did not outlive the restart";
}

TEST_F(TrackingTest, ADayIsBuiltFromSessionsSegmentsAndPicturesByTheCompanysClock) {
    // Into the day, within it, and open from 11:12 for the 8 minutes that the total leaves for it.
    const std::string intervals = interval("2025-03-13T23:50:00+01:00", "2025-03-14T00:05:00+01:00") + "," +
                                  interval("2025-03-14T10:55:00+01:00", "2025-03-14T11:05:00+01:00") + "," +
                                  interval("2025-03-14T11:12:00+01:00", {});
    send(heartbeat(R"({"started_at":"2025-03-13T23:50:00+01:00","total_seconds":1980,"intervals":[)" +
                   intervals + "]}"));
    send(batch({row(65, R"({"activity_rate":80})"), row(66, R"({"activity_rate":20})"), row(67)}));
    send(screenshot());
    const Outgoing report = query("hr/timetracker/reporting/screenshots/employees?date=2025-03-14");
    const QJsonObject day = send(report).data();
    EXPECT_EQ(totalOf(send(replacing(report, "-14", "-13")).data()[u"summary"]), 600);
    EXPECT_EQ(totalOf(day[u"summary"]), 1380);
    const QJsonValue hours = day[u"hours"];
    for (const auto& [index, hour, seconds] : {std::tuple(0, 0, 300), {1, 10, 300}, {2, 11, 780}})
        EXPECT_TRUE(hours[index][u"hour"].toInt() == hour && totalOf(hours[index]) == seconds) << hour;
    const QJsonValue slot = hours[2][u"segments"][0], shot = slot[u"screenshots"][0];
    EXPECT_EQ(slot[u"segment_number"].toInt(), 66);
    EXPECT_EQ(text(shot[u"captured_at"]), "2025-03-14T11:01:00+01:00");
    EXPECT_EQ(get(text(shot[u"url"]).substr(std::size_t(server->url().size()) - 1)).raw, picture);
}

TEST_F(TrackingTest, FaultsStrikeAsAskedAndNoOftener) {
    int taken = 0;
    const auto expect = [&](const std::string& fault, int status, int takes) {
        EXPECT_EQ(control("faults", R"({"kind":")" + fault + "}").status, 200);
        EXPECT_EQ(send(heartbeat()).status, status) << fault;
        EXPECT_EQ(summary()[u"heartbeats"].toInt(), taken += takes) << fault;
    };
    expect(R"(status","path":"sessions/heartbeat","status":503,"count":2)", 503, 0);
    EXPECT_EQ(configuration().status, 200) << "another path";
    EXPECT_EQ(send(heartbeat()).status, 503);
    expect(R"(status","status":200,"body":"<html>")", 200, 0);
    expect("reset-before\"", 0, 0);
    expect("reset-after\"", 0, 1);
    expect("truncate\"", 0, 1);
    expect(R"(delay","seconds":0.01)", 200, 1);
    EXPECT_EQ(send(heartbeat()).status, 200);
    EXPECT_EQ(control("faults", R"({"kind":"explode"})").status, 422);
}

TEST_F(TrackingTest, ThePageShowsNoMarkupOfOthers) {
    send(beat("task_id", R"("<script>alert(1)</script>")"));
    const std::string page = get("/").raw;
    EXPECT_TRUE(page.find("&lt;script&gt;") != page.npos && page.find("<script>alert") == page.npos);
}

} // namespace

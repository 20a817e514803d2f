#include "BackendTest.h"

namespace {

struct TrackingTest : BackendTest {
    TrackingTest() { signIn(); }

    qint64 totalAfter(const Outgoing& request) {
        return send(request).data()[u"today_total_seconds"].toInteger(-1);
    }
    Outgoing finalBeat() const {
        const std::string end = "2025-03-14T11:20:00+01:00";
        return heartbeat(R"({"status":"completed","total_seconds":1200,"stopped_at":")" + end +
                         R"(","intervals":[)" + interval(startedAt, end) + "]}");
    }
};

TEST_F(TrackingTest, ReportsReplaceTheOneBeforeAndTheFinalOneStays) {
    for (int attempt = 0; attempt < 2; ++attempt)
        EXPECT_TRUE(send(start()).data()[u"ok"].toBool());
    EXPECT_EQ(totalAfter(beat("total_seconds", "900")), 900);
    EXPECT_EQ(totalAfter(beat("total_seconds", "700")), 700);
    EXPECT_EQ(totalAfter(finalBeat()), 1200);
    EXPECT_EQ(totalAfter(beat("total_seconds", "60")), 1200) << "a late report reopened the session";
    EXPECT_EQ(text(summary()[u"sessions"][0][u"status"]), "completed");
    signIn("many@velmora.example");
    for (const Outgoing& foreign : {start(), heartbeat(), screenshot()})
        EXPECT_EQ(send(foreign).status, 404);
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
    control("takeover", "{\"session_uuid\":\"" + session + "\"}");
    EXPECT_EQ(send(heartbeat()).status, 409);
}

TEST_F(TrackingTest, ThePageShowsNoMarkupOfOthers) {
    send(beat("task_id", R"("<script>alert(1)</script>")"));
    const std::string page = get("/").raw;
    EXPECT_TRUE(page.find("&lt;script&gt;") != page.npos && page.find("<script>alert") == page.npos);
}

} // namespace

#include "BackendTest.h"

#include <QFileInfo>

namespace {

struct TrackingTest : BackendTest {
    TrackingTest() { signIn(); }

    qint64 totalAfter(const Outgoing& request) {
        return send(request).data()[u"today_total_seconds"].toInteger(-1);
    }
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
    EXPECT_EQ(onlySession()[u"intervals"][0][u"stopped_at"].toInteger(), 1741947600);
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
    EXPECT_EQ(totalAfter(batch({row(0)})), 5);
    for (const auto& [zone, day, seconds] :
         {std::tuple("Europe/Berlin", "2025-03-15", 5), {"America/New_York", "2025-03-14", 605}}) {
        control("config", std::string("{\"app_timezone\":\"") + zone + "\"}");
        EXPECT_EQ(text(configuration().data()[u"today_date"]), day);
        EXPECT_EQ(configuration().data()[u"today_total_seconds"].toInt(), seconds);
    }
}

TEST_F(TrackingTest, BadReportsAreRefusedWithAReasonAndChangeNothing) {
    const Outgoing good = heartbeat();
    const auto bad = [&](const char* key, const std::string& value) {
        return Case{key, beat(key, value), 422};
    };
    expectAnswers({
        bad("session_uuid", "\"bbbbbbbb-0000-4000-8000-000000000001\""),
        bad("task_id", "null"),
        bad("started_at", "\"2025-03-14T11:00:00.5+01:00\""),
        bad("stopped_at", "\"" + startedAt + "\""),
        {"stopped_at", beat("status", "\"completed\""), 422},
        bad("status", "\"paused\""),
        bad("mouse_movements", "-1"),
        bad("activity_rate", "100.5"),
        {"interval_uuid", replacing(good, "CCCCCCCC-", "cccccccc-"), 422},
        {"intervals[0]: stopped_at",
         replacing(finalBeat(), "\"stopped_at\": \"2025-03-14T11:20:00+01:00\"", "\"stopped_at\": null"),
         422},
        bad("extra", "1"),
        {"app-client", with(good, "app-client", "mac"), 400},
        {"Content-Type", with(good, "Content-Type", "application/json; charset=utf-8"), 400},
    });
    EXPECT_TRUE(summary()[u"sessions"].toArray().isEmpty());
    EXPECT_EQ(send(beat("intervals", "[]")).status, 200);
}

TEST_F(TrackingTest, ABatchIsTakenRowByRow) {
    const std::pair<QJsonValue, const char*> rows[] = {
        {row(60), nullptr},
        {row(144), "segment_number"},
        {row(61, R"({"segment_date":"2025-02-29"})"), "segment_date"},
        {row(61, R"({"timezone":"Mars/Olympus"})"), "timezone"},
        {row(61, R"({"key_press_count":0.5})"), "key_press_count"},
        {u"no object"_qs, "segment_date"},
        {row(60, R"({"key_press_count":77})"), nullptr},
    };
    QJsonArray sent;
    for (const auto& each : rows)
        sent.append(each.first);
    const QJsonObject data = send(batch(sent)).data();
    EXPECT_EQ(data[u"accepted"].toArray(), (QJsonArray{0, 6}));
    EXPECT_EQ(data[u"rejected"].toArray().size(), 5);
    for (const QJsonValue& refused : data[u"rejected"].toArray())
        EXPECT_EQ(text(refused[u"reason"]).find(rows[refused[u"index"].toInt()].second), 0U);
    EXPECT_EQ(summary()[u"segments"].toInt(), 1);
    EXPECT_EQ(summary()[u"segment_rows"][0][u"key_press_count"].toInt(), 77)
        << "a later row replaces an earlier one";
    EXPECT_EQ(send(batch({})).status, 422);
}

TEST_F(TrackingTest, PicturesOfTheRightFormAreKeptPrivately) {
    send(heartbeat());
    const Outgoing good = screenshot();
    const std::string part = good.body.substr(0, good.body.rfind("--Boundary"));
    expectAnswers({
        {"file name", replacing(good, pictureName, "../" + pictureName), 422},
        {"another session", replacing(good, "\"BBBBBBBB", "\"BBBBBBBA"), 422},
        {"file name", replacing(good, "T11-01-00", "T25-01-00"), 422},
        {"file name", replacing(good, ".jpg", ".png"), 422},
        {"JPEG", replacing(good, picture, "GIF89a"), 422},
        {"JPEG", replacing(good, picture, picture.substr(0, 26)), 422},
        {"screenshots[]", replacing(good, "screenshots[]", "screenshot"), 422},
        {"image/jpeg", replacing(good, "image/jpeg", "image/png"), 422},
        {"upper case", replacing(good, "sessions/BBBB", "sessions/bbbb"), 422},
        {"Content-Type", with(good, "Content-Type", "application/json"), 400},
        {"one part", replacing(good, part, part + part), 422},
        {"", good, 200},
        {"", good, 200},
    });
    EXPECT_EQ(summary()[u"screenshots"].toInt(), 1);
    EXPECT_EQ(summary()[u"screenshot_files"][0][u"width"].toInt(), 1920);
    EXPECT_EQ(summary()[u"screenshot_files"][0][u"captured_at"].toInteger(), 1741946460);
    const std::string kept = "data/screenshots/demo@velmora.example/" + session;
    for (const std::string& path : {kept, kept + '/' + pictureName, std::string("data/backend.sqlite")}) {
        const QFileInfo file(folder.filePath(QString::fromStdString(path)));
        EXPECT_TRUE(file.exists() && !(file.permissions() & QFile::Permissions(0x77))) << path;
    }
    EXPECT_EQ(get("/media/" + session + "/" + pictureName).raw, picture);
    EXPECT_EQ(get("/media/" + session + "/..%2f..%2f..%2fbackend.sqlite").status, 404);

    const QJsonObject before = summary();
    restart();
    EXPECT_EQ(summary(), before);
    EXPECT_EQ(totalAfter(beat("total_seconds", "601")), 601) << "the token did not outlive the restart";
}

} // namespace

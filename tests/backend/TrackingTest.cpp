#include "BackendTest.h"

#include <QFileInfo>

namespace {

struct TrackingTest : BackendTest {
    TrackingTest() { signIn(); }

    const std::string startedAt = "2025-03-14T11:00:00+01:00";

    qint64 totalAfter(const Outgoing& request) {
        return send(request).data()[u"today_total_seconds"].toInteger(-1);
    }
    QJsonObject onlySession() {
        const QJsonArray sessions = summary()[u"sessions"].toArray();
        EXPECT_EQ(sessions.size(), 1);
        return sessions.at(0).toObject();
    }
    static std::string completed(int seconds) {
        const std::string end = "2025-03-14T11:20:00+01:00";
        return R"({"status":"completed","stopped_at":")" + end + R"(","total_seconds":)" +
               std::to_string(seconds) + R"(,"intervals":[)" + interval("2025-03-14T11:00:00+01:00", end) +
               "]}";
    }
    static std::string with(const char* key, const std::string& value) {
        return std::string("{\"") + key + "\":" + value + "}";
    }
};

TEST_F(TrackingTest, ReportsReplaceTheOneBeforeAndTheFinalOneStays) {
    for (int attempt = 0; attempt < 3; ++attempt)
        EXPECT_TRUE(send(start(session, startedAt, device)).data()[u"ok"].toBool());
    EXPECT_EQ(summary()[u"session_starts"].toInt(), 1);
    EXPECT_EQ(totalAfter(heartbeat(with("total_seconds", "900"))), 900);
    EXPECT_EQ(totalAfter(heartbeat(with("total_seconds", "700"))), 700);
    EXPECT_TRUE(onlySession()[u"intervals"][0][u"stopped_at"].isNull());
    EXPECT_EQ(totalAfter(heartbeat(completed(1200))), 1200);
    EXPECT_EQ(totalAfter(heartbeat(with("total_seconds", "60"))), 1200)
        << "a late report reopened the session";
    EXPECT_EQ(text(onlySession()[u"status"]), "completed");
    EXPECT_EQ(onlySession()[u"heartbeats"].toInt(), 4);
    EXPECT_EQ(onlySession()[u"intervals"][0][u"stopped_at"].toInteger(), 1741947600);

    signIn("many@velmora.example");
    for (const Outgoing& foreign : {start(session, startedAt, device), heartbeat(), screenshot()})
        EXPECT_EQ(send(foreign).status, 404);
}

TEST_F(TrackingTest, ATakeoverConflictsOnDemandAndByALaterSessionOfAnotherDevice) {
    send(start(session, startedAt, device));
    EXPECT_EQ(send(heartbeat()).status, 200);
    EXPECT_EQ(control("takeover", with("session_uuid", '"' + session + '"')).status, 200);
    EXPECT_EQ(send(heartbeat()).status, 409);
    EXPECT_EQ(send(start(session, startedAt, device)).status, 409);
    EXPECT_EQ(control("takeover", with("session_uuid", '"' + otherSession + '"')).status, 404);

    const Outgoing mine = heartbeat(with("session_uuid", '"' + otherSession + '"'));
    EXPECT_EQ(send(mine).status, 200);
    const struct {
        const char* time;
        const std::string& from;
        bool isOnly;
        int then;
    } starts[] = {{"10:00", otherDevice, true, 200}, // an earlier session that arrived late
                  {"11:30", otherDevice, false, 200},
                  {"11:40", device, true, 200},
                  {"11:50", otherDevice, true, 409}};
    for (const auto& [time, from, isOnly, then] : starts) {
        control("config", with("one_device_per_account", isOnly ? "true" : "false"));
        const std::string uuid =
            std::string("BBBBBBBB-0000-4000-8000-00000000") + time[0] + time[1] + time[3] + time[4];
        EXPECT_EQ(send(start(uuid, std::string("2025-03-14T") + time + ":00+01:00", from)).status, 200);
        EXPECT_EQ(send(mine).status, then) << time;
    }
}

TEST_F(TrackingTest, TodaysTotalFollowsTheCompanysMidnight) {
    setClock("2025-03-14T23:50:00+01:00");
    signIn();
    const auto beat = [this](const std::string& uuid, const std::string& began, int seconds) {
        return send(heartbeat(R"({"session_uuid":")" + uuid + R"(","started_at":")" + began +
                              R"(","total_seconds":)" + std::to_string(seconds) + "}"))
            .data();
    };
    EXPECT_EQ(beat(session, "2025-03-14T22:00:00Z", 3000)[u"today_total_seconds"].toInt(), 3000);
    setClock("2025-03-15T00:00:00+01:00");
    const QJsonObject late = beat(session, "2025-03-14T22:00:00Z", 3600);
    EXPECT_EQ(text(late[u"today_date"]), "2025-03-15");
    EXPECT_EQ(late[u"today_total_seconds"].toInt(), 0) << "yesterday's session counts for today";
    EXPECT_EQ(beat(otherSession, "2025-03-15T00:00:00+01:00", 5)[u"today_total_seconds"].toInt(), 5);
    EXPECT_EQ(totalAfter(batch({row(0)})), 5);
    EXPECT_EQ(configuration()[u"today_total_seconds"].toInt(), 5);
    control("config", R"({"app_timezone":"America/New_York"})");
    EXPECT_EQ(text(configuration()[u"today_date"]), "2025-03-14");
    EXPECT_EQ(configuration()[u"today_total_seconds"].toInt(), 3605);
}

TEST_F(TrackingTest, BadReportsAreRefusedWithAReasonAndChangeNothing) {
    const std::string time = "\"" + startedAt + "\"", id = "CCCCCCCC-0000-4000-8000-000000000001";
    const Outgoing good = heartbeat(), final = heartbeat(completed(1));
    const auto bad = [&](const char* key, const std::string& value) {
        return Case{key, heartbeat(with(key, value)), 422};
    };
    expectAnswers({
        bad("session_uuid", "\"bbbbbbbb-0000-4000-8000-000000000001\""),
        bad("device_uuid", "\"\""),
        bad("task_id", "null"),
        bad("started_at", "\"2025-03-14T11:00:00\""),
        bad("started_at", "\"2025-03-14T11:00:00.5+01:00\""),
        bad("started_at", "\"2025-02-30T11:00:00+01:00\""),
        bad("stopped_at", time),
        {"stopped_at", heartbeat(with("status", "\"completed\"")), 422},
        bad("status", "\"paused\""),
        bad("total_seconds", "-1"),
        bad("total_seconds", "1.5"),
        bad("mouse_movements", "\"3\""),
        bad("activity_rate", "100.5"),
        bad("intervals", "{}"),
        {"interval_uuid", good.replacing(id, "cccccccc"), 422},
        {"intervals[0]: started_at",
         heartbeat(
             with("intervals", R"([{"interval_uuid":")" + id + R"(","started_at":null,"stopped_at":null}])")),
         422},
        {"intervals[0]: stopped_at",
         final.replacing(R"("stopped_at": "2025-03-14T11:20:00+01:00")", R"("stopped_at": null)"), 422},
        bad("extra", "1"),
        {"app-client", good.with("app-client", "mac"), 400},
        {"X-App", good.with("X-App", "hr"), 400},
        {"Accept", good.with("Accept", ""), 400},
        {"Content-Type", good.with("Content-Type", "application/json; charset=utf-8"), 400},
        {"bearer", good.with("Authorization", ""), 401},
    });
    EXPECT_TRUE(summary()[u"sessions"].toArray().isEmpty());
    expectAnswers({{"", heartbeat(with("intervals", "[]")), 200}, {"", final, 200}});
}

TEST_F(TrackingTest, ABatchIsTakenRowByRow) {
    const std::pair<QJsonValue, const char*> rows[] = {
        {row(60), nullptr},
        {row(144), "segment_number"},
        {row(-1), "segment_number"},
        {row(61, with("segment_date", "\"2025-02-29\"")), "segment_date"},
        {row(61, with("timezone", "\"Mars/Olympus\"")), "timezone"},
        {row(61, with("activity_rate", "100.01")), "activity_rate"},
        {row(61, with("non_idle_percent", "-0.5")), "non_idle_percent"},
        {row(61, with("key_press_count", "0.5")), "key_press_count"},
        {u"no object"_qs, "segment_date"},
        {row(143, with("activity_rate", "100")), nullptr},
        {row(60, with("key_press_count", "77")), nullptr},
    };
    QJsonArray sent, accepted;
    for (const auto& [each, reason] : rows) {
        if (!reason)
            accepted.append(sent.size());
        sent.append(each);
    }
    const QJsonObject data = send(batch(sent)).data();
    EXPECT_EQ(data[u"accepted"].toArray(), accepted);
    EXPECT_EQ(data[u"rejected"].toArray().size() + accepted.size(), sent.size());
    for (const QJsonValue& refused : data[u"rejected"].toArray())
        EXPECT_EQ(text(refused[u"reason"]).find(rows[refused[u"index"].toInt()].second), 0U);
    const QJsonArray stored = summary()[u"segment_rows"].toArray();
    ASSERT_EQ(stored.size(), 2);
    EXPECT_EQ(stored[0][u"key_press_count"].toInt(), 77) << "a later row did not replace the earlier one";
    EXPECT_EQ(send(batch({})).status, 422);
}

TEST_F(TrackingTest, PicturesOfTheRightFormAreKeptPrivately) {
    send(heartbeat());
    const Outgoing good = screenshot();
    const Outgoing twice =
        good.replacing("--Boundary", good.body.substr(0, good.body.rfind("--Boundary")) + "--Boundary");
    expectAnswers({
        {"file name", good.replacing(pictureName(), "../" + pictureName()), 422},
        {"another session", good.replacing("\"" + session, "\"" + otherSession), 422},
        {"file name", good.replacing("T11-01-00", "T11:01:00"), 422},
        {"file name", good.replacing("T11-01-00", "T25-01-00"), 422},
        {"file name", good.replacing("_0.jpg", ".jpg"), 422},
        {"file name", good.replacing(".jpg", ".png"), 422},
        {"JPEG", good.replacing(picture, "GIF89a"), 422},
        {"JPEG", good.replacing(picture, picture.substr(0, picture.size() - 2)), 422},
        {"screenshots[]", good.replacing("screenshots[]", "screenshot"), 422},
        {"image/jpeg", good.replacing("image/jpeg", "image/png"), 422},
        {"upper case", good.replacing("sessions/BBBB", "sessions/bbbb"), 422},
        {"Content-Type", good.with("Content-Type", "application/json"), 400},
        {"one part", twice, 422},
        {"", good, 200},
        {"", good, 200},
    });
    const QJsonArray files = summary()[u"screenshot_files"].toArray();
    ASSERT_EQ(files.size(), 1);
    EXPECT_TRUE(files[0][u"width"].toInt() == 1920 && files[0][u"height"].toInt() == 1080);
    EXPECT_EQ(files[0][u"captured_at"].toInteger(), 1741946460);
    const QString kept =
        folder.filePath(u"data/screenshots/demo@velmora.example/"_qs + QString::fromStdString(session));
    const QString database = folder.filePath(u"data/backend.sqlite"_qs);
    for (const QString& path : {kept, kept + u'/' + QString::fromStdString(pictureName()), database}) {
        EXPECT_TRUE(QFileInfo::exists(path));
        EXPECT_EQ(QFileInfo(path).permissions() & QFile::Permissions(0x77), QFile::Permissions())
            << path.toStdString();
    }
    EXPECT_EQ(get("/media/" + session + "/" + pictureName()).raw, picture);
    EXPECT_EQ(get("/media/" + session + "/..%2f..%2f..%2fbackend.sqlite").status, 404);

    send(batch({row(66)}));
    const QJsonObject before = summary();
    restart();
    EXPECT_EQ(summary(), before);
    EXPECT_EQ(totalAfter(heartbeat(with("total_seconds", "601"))), 601)
        << "the token did not outlive the restart";
}

} // namespace

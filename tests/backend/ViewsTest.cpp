#include "BackendTest.h"

namespace {

struct ViewsTest : BackendTest {
    ViewsTest() { signIn(); }

    QJsonObject reportFor(const std::string& day) {
        return send(query("hr/timetracker/reporting/screenshots/employees?date=" + day)).data();
    }
    static int totalOf(const QJsonValue& part) { return part[u"stats"][u"total_seconds"].toInt(); }
    static int count(const std::string& text, const std::string& part) {
        int found = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
            ++found;
        return found;
    }
};

TEST_F(ViewsTest, ADayIsBuiltFromSessionsSegmentsAndPicturesByTheCompanysClock) {
    // Into the day, within it, and open from 11:12 for the 8 minutes that the total leaves for it.
    const std::string intervals = interval("2025-03-13T23:50:00+01:00", "2025-03-14T00:05:00+01:00") + "," +
                                  interval("2025-03-14T10:55:00+01:00", "2025-03-14T11:05:00+01:00") + "," +
                                  interval("2025-03-14T11:12:00+01:00", {});
    send(heartbeat(R"({"started_at":"2025-03-13T23:50:00+01:00","total_seconds":1980,"intervals":[)" +
                   intervals + "]}"));
    send(batch({row(65, R"({"activity_rate":80})"), row(66, R"({"activity_rate":20})"), row(67)}));
    send(screenshot());
    EXPECT_EQ(totalOf(reportFor("2025-03-13")[u"summary"]), 600);
    const QJsonObject day = reportFor("2025-03-14"), stats = day[u"summary"][u"stats"].toObject();
    EXPECT_EQ(text(stats[u"total_seconds_formatted"]), "23m 00s");
    EXPECT_EQ(stats[u"mouse_movements"].toInt(), 30);
    EXPECT_NEAR(stats[u"activity_rate"].toDouble(), 141.5 / 3, 1e-9);
    const QJsonValue hours = day[u"hours"];
    for (const auto& [index, hour, seconds] : {std::tuple(0, 0, 300), {1, 10, 300}, {2, 11, 780}})
        EXPECT_TRUE(hours[index][u"hour"].toInt() == hour && totalOf(hours[index]) == seconds) << hour;
    const QJsonValue slot = hours[2][u"segments"][0];
    EXPECT_EQ(slot[u"segment_number"].toInt(), 66);
    EXPECT_EQ(text(slot[u"indicator_color"]), "red");
    const QJsonValue shot = slot[u"screenshots"][0];
    EXPECT_EQ(text(shot[u"captured_at"]), "2025-03-14T11:01:00+01:00");
    EXPECT_EQ(get(text(shot[u"url"]).substr(std::size_t(server->url().size()) - 1)).raw, picture);
    signIn("plain@velmora.example");
    EXPECT_TRUE(reportFor("2025-03-14")[u"hours"].toArray().isEmpty()) << "somebody else's day shows";
}

TEST_F(ViewsTest, ThePageShowsTheDayAndNeverMarkupOfOthers) {
    send(beat("task_id", R"("</td><script>alert(1)</script>\" {{main}}")"));
    send(batch({row(66, R"({"activity_rate":10})"), row(67, R"({"activity_rate":90})")}));
    send(screenshot());
    const std::string today = get("/").raw;
    for (const std::string& once :
         {std::string("class=\"strip\""), std::string("Mina Many"), std::string(">Running<"),
          std::string("<i class=\"low\" title=\"11:00–11:10 · 10m 00s tracked · 10 %"),
          std::string("<i class=\"high\" title=\"11:10–11:20"),
          "href=\"/media/" + session + "/" + pictureName + "\""})
        EXPECT_EQ(count(today, once), 1) << once;
    EXPECT_EQ(count(today, "alert(1)"), count(today, "&lt;script&gt;alert(1)&lt;/script&gt;&quot; {{main}}"));
    EXPECT_EQ(count(get("/?day=\"><script>alert(2)</script>").raw, "alert(2)"), 0);
    EXPECT_EQ(count(today, "http://") + count(today, "https://"), 0) << "an external resource";
    clock = clock + 241;
    EXPECT_EQ(count(get("/").raw, ">Silent since 12:00<"), 1);
}

TEST_F(ViewsTest, FaultsStrikeAsAskedAndNoOftener) {
    const auto arm = [this](const std::string& kind) {
        return control("faults", "{\"kind\":\"" + kind + "}").status;
    };
    int taken = 0;
    const auto expect = [&](const std::string& fault, int status, int takes) {
        EXPECT_EQ(arm(fault), 200);
        EXPECT_EQ(send(heartbeat(), fault == "hang\"" ? 300 : 30000).status, status) << fault;
        EXPECT_EQ(summary()[u"heartbeats"].toInt(), taken += takes) << fault;
    };
    expect(R"(status","path":"sessions/heartbeat","status":503,"count":2)", 503, 0);
    EXPECT_EQ(configuration().status, 200) << "another path";
    EXPECT_EQ(send(heartbeat()).status, 503);
    expect(R"(status","status":200,"body":"<html>")", 200, 0);
    expect("reset-before\"", 0, 0);
    expect("reset-after\"", 0, 1);
    expect("truncate\"", 0, 1);
    expect("hang\"", 0, 0);
    arm(R"(delay","seconds":0.3)");
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(send(heartbeat()).status, 200);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(300));
    arm(R"(status","count":100)");
    control("reset-faults");
    EXPECT_EQ(send(heartbeat()).status, 200);
    EXPECT_EQ(arm("explode\""), 422);
}

} // namespace

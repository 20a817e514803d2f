#include "BackendTest.h"

#include <QProcess>

namespace {

struct ViewsTest : BackendTest {
    ViewsTest() { signIn(); }

    QJsonObject reportFor(const std::string& day) {
        return send(query("hr/timetracker/reporting/screenshots/employees?date=" + day)).data();
    }
    int totalOf(const QJsonValue& part) { return part[u"stats"][u"total_seconds"].toInt(); }
    void report(const std::string& intervals, int seconds) {
        EXPECT_EQ(send(heartbeat("{\"intervals\":[" + intervals +
                                 "],\"total_seconds\":" + std::to_string(seconds) + "}"))
                      .status,
                  200);
    }
    static int count(const std::string& text, const std::string& part) {
        int found = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
            ++found;
        return found;
    }
};

TEST_F(ViewsTest, ADayIsBuiltFromSessionsSegmentsAndPictures) {
    // 10:55 to 11:05, then open from 11:12 for the 8 minutes that the total leaves for it.
    report(interval("2025-03-14T10:55:00+01:00", "2025-03-14T11:05:00+01:00") + "," +
               interval("2025-03-14T11:12:00+01:00", {}),
           600 + 480);
    send(batch({row(65, R"({"activity_rate":80})"), row(66, R"({"activity_rate":20})"), row(67)}));
    send(screenshot());
    const QJsonObject day = reportFor("2025-03-14"), stats = day[u"summary"][u"stats"].toObject();
    EXPECT_EQ(text(stats[u"total_seconds_formatted"]), "18m 00s");
    EXPECT_EQ(stats[u"mouse_movements"].toInt(), 30);
    EXPECT_NEAR(stats[u"activity_rate"].toDouble(), 141.5 / 3, 1e-9);
    const QJsonArray hours = day[u"hours"].toArray();
    ASSERT_EQ(hours.size(), 2);
    EXPECT_TRUE(hours[0][u"hour"].toInt() == 10 && hours[1][u"hour"].toInt() == 11);
    EXPECT_TRUE(totalOf(hours[0]) == 300 && totalOf(hours[1]) == 780);
    const QJsonValue slot = hours[1][u"segments"][0];
    EXPECT_EQ(slot[u"segment_number"].toInt(), 66);
    EXPECT_EQ(text(slot[u"segment_number_from"]) + text(slot[u"segment_number_to"]), "11:0011:10");
    EXPECT_EQ(text(slot[u"indicator_color"]), "red");
    const QJsonValue shot = slot[u"screenshots"][0];
    EXPECT_EQ(text(shot[u"captured_at"]), "2025-03-14T11:01:00+01:00");
    EXPECT_TRUE(shot[u"url_available"].toBool() && shot[u"thumbnail_url_available"].toBool());
    EXPECT_EQ(get(text(shot[u"url"]).substr(server->url().size() - 1)).raw, picture);

    signIn("plain@velmora.example");
    EXPECT_TRUE(reportFor("2025-03-14")[u"hours"].toArray().isEmpty()) << "somebody else's day shows";
    const Outgoing badDay = query("hr/timetracker/reporting/screenshots/employees?date=2025-02-30");
    EXPECT_EQ(send(badDay).status, 422);
}

TEST_F(ViewsTest, TimeCountsToTheDayAndHourThatTheCompanysClockShowed) {
    report(interval("2025-03-14T23:55:00+01:00", "2025-03-15T00:15:00+01:00"), 1200);
    EXPECT_EQ(totalOf(reportFor("2025-03-14")[u"summary"]), 300);
    EXPECT_EQ(totalOf(reportFor("2025-03-15")[u"summary"]), 900);
    report(interval("2025-10-26T02:00:00+02:00", "2025-10-26T02:00:00+01:00"), 3600);
    EXPECT_EQ(reportFor("2025-10-26")[u"hours"].toArray().size(), 1);
    report(interval("2025-03-30T01:30:00+01:00", "2025-03-30T03:30:00+02:00"), 3600);
    const QJsonArray spring = reportFor("2025-03-30")[u"hours"].toArray();
    ASSERT_EQ(spring.size(), 2);
    EXPECT_TRUE(spring[1][u"hour"].toInt() == 3 && totalOf(spring[1]) == 1800);
}

TEST_F(ViewsTest, ThePageShowsTheDayAndNeverMarkupOfOthers) {
    const std::string hostile = R"(</td><script>alert(1)</script>\" {{main}})";
    send(heartbeat(R"({"task_id":")" + hostile + "\"}"));
    send(batch({row(66, R"({"activity_rate":10})"), row(67, R"({"activity_rate":90})")}));
    send(screenshot());
    const std::string today = get("/").raw;
    EXPECT_EQ(count(today, "class=\"strip\""), 1);
    EXPECT_EQ(count(today, "<i class=\"low\" title=\"11:00–11:10 · 10m 00s tracked · 10 % activity"), 1);
    EXPECT_EQ(count(today, "<i class=\"high\" title=\"11:10–11:20"), 1);
    EXPECT_EQ(count(today, "href=\"/media/" + session + "/" + pictureName() + "\""), 1);
    EXPECT_EQ(count(today, "Mina Many"), 1);
    EXPECT_EQ(count(today, "alert(1)"), count(today, "&lt;script&gt;alert(1)&lt;/script&gt;&quot; {{main}}"));
    EXPECT_EQ(count(get("/?day=2025-03-13").raw, "class=\"strip\""), 0);
    EXPECT_EQ(count(get("/?day=\"><script>alert(2)</script>").raw, "alert(2)"), 0);
    EXPECT_EQ(count(today, "http://") + count(today, "https://"), 0) << "an external resource";
    httplib::Client client("127.0.0.1", server->port());
    const auto policy = [&] { return client.Get("/")->get_header_value("Content-Security-Policy"); };
    EXPECT_EQ(policy().find("default-src 'none'"), 0U);
    EXPECT_NE(policy(), policy()) << "the nonce can be guessed";

    EXPECT_EQ(count(get("/").raw, ">Running<"), 1);
    clock = clock + 241;
    EXPECT_EQ(count(get("/").raw, ">Silent since 12:00<"), 1);
    control("takeover", R"({"session_uuid":")" + session + "\"}");
    EXPECT_EQ(count(get("/").raw, ">Moved to another device<"), 1);
}

TEST_F(ViewsTest, FaultsStrikeAsAskedAndNoOftener) {
    const auto arm = [this](const std::string& kind) {
        return control("faults", "{\"kind\":\"" + kind + "}").status;
    };
    const auto taken = [this] { return summary()[u"heartbeats"].toInt(); };
    EXPECT_EQ(arm(R"(status","path":"sessions/heartbeat","status":503,"count":2)"), 200);
    EXPECT_EQ(configurationStatus(), 200);
    for (const int status : {503, 503, 200})
        EXPECT_EQ(send(heartbeat()).status, status);
    arm(R"(status","status":200,"body":"<html>")");
    EXPECT_EQ(send(heartbeat()).raw, "<html>");
    EXPECT_EQ(taken(), 1);

    arm("reset-before\"");
    EXPECT_EQ(send(heartbeat()).status, 0);
    EXPECT_EQ(taken(), 1);
    arm("reset-after\"");
    EXPECT_EQ(send(heartbeat()).status, 0);
    EXPECT_EQ(taken(), 2);

    arm("truncate\"");
    const Outgoing request = query(employees + "config");
    std::string part;
    httplib::Client client("127.0.0.1", server->port());
    const auto cut = client.Get(request.path, request.headers, [&](const char* data, std::size_t size) {
        part.append(data, size);
        return true;
    });
    const std::string whole = send(request).raw;
    EXPECT_FALSE(cut);
    EXPECT_EQ(part, whole.substr(0, whole.size() / 2));

    arm(R"(delay","seconds":0.3)");
    const auto began = std::chrono::steady_clock::now();
    std::thread beside([this] { EXPECT_EQ(get("/control/summary").status, 200); });
    EXPECT_EQ(send(heartbeat()).status, 200);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(300));
    beside.join();
    arm("hang\"");
    readTimeoutMilliseconds = 200;
    EXPECT_EQ(send(heartbeat()).status, 0);
    readTimeoutMilliseconds = 30000;
    EXPECT_EQ(taken(), 3);

    arm(R"(status","count":100)");
    control("reset-faults");
    EXPECT_EQ(send(heartbeat()).status, 200);
    EXPECT_EQ(arm("explode\""), 422);
    EXPECT_EQ(arm(R"(delay","seconds":61)"), 422);
}

TEST(Program, TellsItsAddressAndRefusesWhatItCannotServe) {
    const QTemporaryDir folder;
    const QString data = folder.filePath(u"data"_qs), portFile = folder.filePath(u"port"_qs);
    QProcess program;
    program.start(QStringLiteral(BACKEND_PROGRAM), {u"--data"_qs, data, u"--port-file"_qs, portFile});
    ASSERT_TRUE(program.waitForReadyRead(30000));
    const QByteArray prefix = "velmora-backend: listening on http://127.0.0.1:", line = program.readLine();
    ASSERT_TRUE(line.startsWith(prefix)) << line.toStdString();
    httplib::Client client("127.0.0.1", line.mid(prefix.size()).chopped(2).toInt());
    client.set_keep_alive(true);
    EXPECT_TRUE(client.Get("/"));
    program.terminate();
    ASSERT_TRUE(program.waitForFinished(30000)) << "a kept connection held the end up";
    EXPECT_EQ(program.exitCode(), 0);

    const QString broken = folder.filePath(u"broken.json"_qs);
    QFile file(broken);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(
        R"({"companies":{},"accounts":[{"email":"a@b.example","password":"x","companies":["none"]}]})");
    file.close();
    const std::pair<QStringList, const char*> cases[] = {
        {{u"--data"_qs, data, u"--host"_qs, u"0.0.0.0"_qs}, "127.0.0.1 only"},
        {{u"--data"_qs, data, u"--port"_qs, u"70000"_qs}, "--port"},
        {{u"--port"_qs, u"0"_qs}, "--data"},
        {{u"--data"_qs, data, u"--config"_qs, u"/nowhere.json"_qs}, "cannot read"},
        {{u"--data"_qs, data, u"--config"_qs, broken}, "unknown company \"none\""}};
    for (const auto& [arguments, reason] : cases) {
        program.start(QStringLiteral(BACKEND_PROGRAM), arguments);
        EXPECT_TRUE(program.waitForFinished(30000));
        EXPECT_TRUE(program.readAllStandardError().contains(reason)) << reason;
        EXPECT_EQ(program.exitCode(), 2);
    }
}

} // namespace

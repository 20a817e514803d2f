#include "BackendTest.h"

#include <QDir>
#include <QFileInfo>

class TrackingTest : public BackendTest {
protected:
    TrackingTest() { signIn(); }

    QJsonObject onlySession() {
        const QJsonArray sessions = summary().value(u"sessions").toArray();
        EXPECT_EQ(sessions.size(), 1);
        return sessions.at(0).toObject();
    }
    qint64 totalAfter(const Outgoing& request) {
        return send(request).data().value(u"today_total_seconds").toInteger(-1);
    }
};

namespace {

const char* const startedAt = "2025-03-14T11:00:00+01:00";

QJsonObject completed(int seconds) {
    const QJsonObject interval{{u"interval_uuid"_qs, u"CCCCCCCC-0000-4000-8000-000000000001"_qs},
                               {u"started_at"_qs, u"2025-03-14T11:00:00+01:00"_qs},
                               {u"stopped_at"_qs, u"2025-03-14T11:20:00+01:00"_qs}};
    return {{u"status"_qs, u"completed"_qs},
            {u"stopped_at"_qs, u"2025-03-14T11:20:00+01:00"_qs},
            {u"total_seconds"_qs, seconds},
            {u"intervals"_qs, QJsonArray{interval}}};
}

} // namespace

TEST_F(TrackingTest, AStartIsTakenOnceHoweverOftenItComes) {
    const Outgoing first = start(session, startedAt, device);
    for (int attempt = 0; attempt < 3; ++attempt) {
        const Answer answer = send(first);
        EXPECT_EQ(answer.status, 200);
        EXPECT_TRUE(answer.data().value(u"ok").toBool());
    }
    EXPECT_EQ(summary().value(u"session_starts").toInt(), 1);
    EXPECT_EQ(onlySession().value(u"task_id").toString(), u"101");
}

TEST_F(TrackingTest, AReportReplacesTheOneBeforeAndTheFinalOneStays) {
    EXPECT_EQ(totalAfter(heartbeat({{u"total_seconds"_qs, 900}})), 900);
    EXPECT_EQ(totalAfter(heartbeat({{u"total_seconds"_qs, 700}})), 700);
    EXPECT_TRUE(onlySession()[u"intervals"][0][u"stopped_at"].isNull());
    EXPECT_EQ(totalAfter(heartbeat(completed(1200))), 1200);
    EXPECT_EQ(totalAfter(heartbeat({{u"total_seconds"_qs, 60}})), 1200)
        << "a late report reopened the session";
    const QJsonObject stored = onlySession();
    EXPECT_EQ(stored.value(u"status").toString(), u"completed");
    EXPECT_EQ(stored.value(u"heartbeats").toInt(), 4);
    EXPECT_EQ(stored[u"intervals"][0][u"stopped_at"].toInteger(), 1741947600);
    EXPECT_EQ(summary().value(u"completed").toInt(), 1);
}

TEST_F(TrackingTest, OnlyTheOwnerReachesASession) {
    send(start(session, startedAt, device));
    signIn("many@velmora.example");
    const std::string name = joined({session, "_2025-03-14T11-01-00+01-00_0.jpg"});
    EXPECT_EQ(send(start(session, startedAt, device)).status, 404);
    EXPECT_EQ(send(heartbeat()).status, 404);
    EXPECT_EQ(send(screenshot(name, jpegOf(8, 8))).status, 404);
    EXPECT_EQ(onlySession().value(u"heartbeats").toInt(), 0);
}

TEST_F(TrackingTest, ATakeoverOnDemandConflicts) {
    send(start(session, startedAt, device));
    EXPECT_EQ(send(heartbeat()).status, 200);
    EXPECT_EQ(control("takeover", {{u"session_uuid"_qs, QString::fromLatin1(session)}}).status, 200);
    EXPECT_EQ(send(heartbeat()).status, 409);
    EXPECT_EQ(send(start(session, startedAt, device)).status, 409);
    EXPECT_EQ(control("takeover", {{u"session_uuid"_qs, QString::fromLatin1(otherSession)}}).status, 404);
}

TEST_F(TrackingTest, ALaterSessionOnAnotherDeviceDisplacesTheRunningOne) {
    send(start(session, startedAt, device));
    EXPECT_EQ(send(start(otherSession, "2025-03-14T10:00:00+01:00", otherDevice)).status, 200);
    EXPECT_EQ(send(heartbeat()).status, 200) << "an earlier session that arrived late displaced a later one";
    control("config", {{u"one_device_per_account"_qs, false}});
    send(start("BBBBBBBB-0000-4000-8000-000000000003", "2025-03-14T11:30:00+01:00", otherDevice));
    EXPECT_EQ(send(heartbeat()).status, 200);
    control("config", {{u"one_device_per_account"_qs, true}});
    send(start("BBBBBBBB-0000-4000-8000-000000000004", "2025-03-14T11:40:00+01:00", device));
    EXPECT_EQ(send(heartbeat()).status, 200) << "a device displaced its own session";
    send(start("BBBBBBBB-0000-4000-8000-000000000005", "2025-03-14T11:50:00+01:00", otherDevice));
    EXPECT_EQ(send(heartbeat()).status, 409);
}

TEST_F(TrackingTest, TodaysTotalFollowsTheCompanysMidnight) {
    setClock("2025-03-14T23:50:00+01:00");
    signIn();
    const auto beat = [this](const char* uuid, const char* began, int seconds) {
        return send(heartbeat({{u"session_uuid"_qs, QString::fromLatin1(uuid)},
                               {u"started_at"_qs, QString::fromLatin1(began)},
                               {u"total_seconds"_qs, seconds}}))
            .data();
    };
    EXPECT_EQ(beat(session, "2025-03-14T22:00:00Z", 3000).value(u"today_total_seconds").toInt(), 3000);
    setClock("2025-03-15T00:00:00+01:00");
    const QJsonObject late = beat(session, "2025-03-14T22:00:00Z", 3600);
    EXPECT_EQ(late.value(u"today_date").toString(), u"2025-03-15");
    EXPECT_EQ(late.value(u"today_total_seconds").toInt(), 0) << "yesterday's session counts for today";
    EXPECT_EQ(beat(otherSession, "2025-03-15T00:00:00+01:00", 5).value(u"today_total_seconds").toInt(), 5);
    const Answer batchAnswer = send(batch({segmentRow(0)}));
    EXPECT_EQ(batchAnswer.data().value(u"today_total_seconds").toInt(), 5);
    const QJsonObject configuration = send(jsonGet("hr/timetracker/employees/config")).data();
    EXPECT_EQ(configuration.value(u"today_total_seconds").toInt(), 5);

    control("config", {{u"app_timezone"_qs, u"America/New_York"_qs}});
    const QJsonObject west = send(jsonGet("hr/timetracker/employees/config")).data();
    EXPECT_EQ(west.value(u"today_date").toString(), u"2025-03-14");
    EXPECT_EQ(west.value(u"today_total_seconds").toInt(), 3605);
}

TEST_F(TrackingTest, BadReportsAreRefusedWithAReasonAndChangeNothing) {
    const auto interval = [](const QJsonValue& uuid, const QJsonValue& began, const QJsonValue& ended) {
        return QJsonArray{
            QJsonObject{{u"interval_uuid"_qs, uuid}, {u"started_at"_qs, began}, {u"stopped_at"_qs, ended}}};
    };
    const QString id = u"CCCCCCCC-0000-4000-8000-000000000001"_qs;
    const QString time = u"2025-03-14T11:00:00+01:00"_qs;
    QJsonObject finalWithOpenInterval = completed(1);
    finalWithOpenInterval.insert(u"intervals"_qs, interval(id, time, QJsonValue::Null));
    const struct {
        QJsonObject changes;
        const char* reason;
    } cases[] = {
        {{{u"session_uuid"_qs, QString::fromLatin1(session).toLower()}}, "session_uuid"},
        {{{u"device_uuid"_qs, u""_qs}}, "device_uuid"},
        {{{u"task_id"_qs, QJsonValue::Null}}, "task_id"},
        {{{u"started_at"_qs, u"2025-03-14T11:00:00"_qs}}, "started_at"},
        {{{u"started_at"_qs, u"2025-03-14T11:00:00.5+01:00"_qs}}, "started_at"},
        {{{u"started_at"_qs, u"2025-02-30T11:00:00+01:00"_qs}}, "started_at"},
        {{{u"stopped_at"_qs, time}}, "stopped_at"},
        {{{u"status"_qs, u"completed"_qs}}, "stopped_at"},
        {{{u"status"_qs, u"paused"_qs}}, "status"},
        {{{u"total_seconds"_qs, -1}}, "total_seconds"},
        {{{u"total_seconds"_qs, 1.5}}, "total_seconds"},
        {{{u"mouse_movements"_qs, u"3"_qs}}, "mouse_movements"},
        {{{u"activity_rate"_qs, 100.5}}, "activity_rate"},
        {{{u"intervals"_qs, QJsonObject()}}, "intervals"},
        {{{u"intervals"_qs, interval(id.toLower(), time, QJsonValue::Null)}}, "interval_uuid"},
        {{{u"intervals"_qs, interval(id, QJsonValue::Null, QJsonValue::Null)}}, "intervals[0]: started_at"},
        {finalWithOpenInterval, "intervals[0]: stopped_at"},
        {{{u"extra"_qs, 1}}, "extra"},
    };
    for (const auto& each : cases) {
        const Answer answer = send(heartbeat(each.changes));
        EXPECT_EQ(answer.status, 422) << each.reason;
        EXPECT_NE(answer.message().find(each.reason), std::string::npos) << answer.message();
    }
    EXPECT_TRUE(summary().value(u"sessions").toArray().isEmpty());
    EXPECT_EQ(send(heartbeat({{u"intervals"_qs, QJsonArray()}})).status, 200);
}

TEST_F(TrackingTest, UploadsWantTheirOwnHeaders) {
    const auto changed = [this](const char* name, const char* value) {
        Outgoing request = heartbeat();
        request.headers.erase(name);
        if (*value)
            request.headers.emplace(name, value);
        return send(request).status;
    };
    EXPECT_EQ(changed("app-client", "mac"), 400);
    EXPECT_EQ(changed("app-client", "IOS"), 400);
    EXPECT_EQ(changed("X-App", "hr"), 400);
    EXPECT_EQ(changed("Accept", ""), 400);
    EXPECT_EQ(changed("Authorization", ""), 401);
    Outgoing wrongType = heartbeat();
    wrongType.contentType = "application/json; charset=utf-8";
    EXPECT_EQ(send(wrongType).status, 400);
}

TEST_F(TrackingTest, ABatchIsTakenRowByRow) {
    const QJsonArray rows{segmentRow(60),
                          segmentRow(144),
                          segmentRow(-1),
                          segmentRow(61, {{u"segment_date"_qs, u"2025-02-29"_qs}}),
                          segmentRow(61, {{u"segment_date"_qs, u"14.03.2025"_qs}}),
                          segmentRow(61, {{u"timezone"_qs, u"Mars/Olympus"_qs}}),
                          segmentRow(61, {{u"activity_rate"_qs, 100.01}}),
                          segmentRow(61, {{u"non_idle_percent"_qs, -0.5}}),
                          segmentRow(61, {{u"key_press_count"_qs, 0.5}}),
                          u"no object"_qs,
                          segmentRow(143, {{u"activity_rate"_qs, 100}}),
                          segmentRow(60, {{u"key_press_count"_qs, 77}})};
    const QJsonObject data = send(batch(rows)).data();
    EXPECT_EQ(data.value(u"accepted").toArray(), (QJsonArray{0, 10, 11}));
    const char* const reasons[] = {"segment_number",   "segment_number",  "segment_date",
                                   "segment_date",     "timezone",        "activity_rate",
                                   "non_idle_percent", "key_press_count", "segment_date"};
    const QJsonArray rejected = data.value(u"rejected").toArray();
    ASSERT_EQ(rejected.size(), 9);
    for (int index = 0; index < 9; ++index) {
        EXPECT_EQ(rejected[index][u"index"].toInt(), index + 1);
        EXPECT_TRUE(rejected[index][u"reason"].toString().startsWith(QLatin1String(reasons[index])));
    }
    const QJsonArray stored = summary().value(u"segment_rows").toArray();
    ASSERT_EQ(stored.size(), 2);
    EXPECT_EQ(stored[0][u"key_press_count"].toInt(), 77) << "a later row did not replace the earlier one";
    EXPECT_EQ(send(batch({})).status, 422);
}

TEST_F(TrackingTest, PicturesAreKeptPrivatelyWithTheirSize) {
    send(heartbeat());
    const std::string name = joined({session, "_2025-03-14T11-01-00+01-00_0.jpg"});
    for (int attempt = 0; attempt < 2; ++attempt)
        EXPECT_EQ(send(screenshot(name, jpegOf(1920, 1080))).status, 200);
    const QJsonArray files = summary().value(u"screenshot_files").toArray();
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(files[0][u"width"].toInt(), 1920);
    EXPECT_EQ(files[0][u"height"].toInt(), 1080);
    EXPECT_EQ(files[0][u"captured_at"].toInteger(), 1741946460);
    const QString kept =
        folder.filePath(u"data/screenshots/demo@velmora.example/"_qs + QLatin1String(session));
    const QFileInfo file(kept + u'/' + QString::fromStdString(name));
    EXPECT_EQ(file.permissions() & QFile::Permissions(0x777), QFile::ReadUser | QFile::WriteUser);
    EXPECT_FALSE(QFileInfo(kept).permissions() & (QFile::ReadGroup | QFile::ReadOther | QFile::ExeOther));
    EXPECT_FALSE(QFileInfo(folder.filePath(u"data/backend.sqlite"_qs)).permissions() &
                 (QFile::ReadGroup | QFile::ReadOther));
    EXPECT_EQ(get(joined({"/media/", session, "/", name})).raw, jpegOf(1920, 1080));
    EXPECT_EQ(get(joined({"/media/", session, "/..%2f..%2f..%2fbackend.sqlite"})).status, 404);
}

TEST_F(TrackingTest, PicturesOfAnotherFormAreRefused) {
    send(heartbeat());
    const std::string uuid = session;
    const std::string good = uuid + "_2025-03-14T11-01-00Z_0.jpg";
    const std::string picture = jpegOf(4, 4);
    const auto spoilt = [this, &good, &picture](const std::string& from, const std::string& to) {
        Outgoing request = screenshot(good, picture);
        request.body.replace(request.body.find(from), from.size(), to);
        return request;
    };
    Outgoing lowerCase = screenshot(good, picture);
    lowerCase.path.replace(lowerCase.path.find("BBBB"), 4, "bbbb");
    Outgoing json = screenshot(good, picture);
    json.contentType = "application/json";
    Outgoing two = screenshot(good, picture);
    two.body.insert(0, two.body.substr(0, two.body.rfind("--Boundary")));
    const struct {
        const char* what;
        Outgoing request;
        int status;
    } cases[] = {
        {"good", screenshot(good, picture), 200},
        {"path in the name", screenshot("../" + good, picture), 422},
        {"other session's name", screenshot(std::string(otherSession) + good.substr(36), picture), 422},
        {"colons in the time", screenshot(uuid + "_2025-03-14T11:01:00Z_0.jpg", picture), 422},
        {"no such hour", screenshot(uuid + "_2025-03-14T25-01-00Z_0.jpg", picture), 422},
        {"no display", screenshot(uuid + "_2025-03-14T11-01-00Z.jpg", picture), 422},
        {"other suffix", screenshot(uuid + "_2025-03-14T11-01-00Z_0.png", picture), 422},
        {"no picture", screenshot(good, "GIF89a"), 422},
        {"empty", screenshot(good, ""), 422},
        {"cut short", screenshot(good, picture.substr(0, picture.size() - 2)), 422},
        {"no width", screenshot(good, jpegOf(0, 4)), 422},
        {"field name", spoilt("screenshots[]", "screenshot"), 422},
        {"part's type", spoilt("image/jpeg", "image/png"), 422},
        {"session in lower case", lowerCase, 422},
        {"not multipart", json, 400},
        {"two parts", two, 422},
    };
    for (const auto& each : cases) {
        const Answer answer = send(each.request);
        EXPECT_EQ(answer.status, each.status) << each.what << ": " << answer.message();
    }
    EXPECT_EQ(summary().value(u"screenshots").toInt(), 1);
}

TEST_F(TrackingTest, WhatWasStoredOutlivesARestart) {
    send(start(session, startedAt, device));
    send(heartbeat());
    send(batch({segmentRow(66)}));
    send(screenshot(joined({session, "_2025-03-14T11-01-00+01-00_0.jpg"}), jpegOf(4, 4)));
    const QJsonObject before = summary();
    const qsizetype entries = ledger().size();
    restart();
    EXPECT_EQ(summary(), before);
    EXPECT_EQ(ledger().size(), entries);
    EXPECT_EQ(totalAfter(heartbeat({{u"total_seconds"_qs, 601}})), 601)
        << "the token did not outlive the restart";
}

#include "HeartbeatPayload.h"
#include "SegmentBatch.h"
#include "StartSessionPayload.h"
#include "TrackingEndpointResponse.h"
#include "UploadWorld.h"

#include <QJsonArray>
#include <cmath>
#include <limits>

namespace {

const QTimeZone hanoi("Asia/Ho_Chi_Minh");
const Date now = utc("2024-05-01T09:40:00Z");

QJsonObject heartbeat(const Session& session, HeartbeatStatus status, const QTimeZone& zone = hanoi) {
    return jsonObject(buildHeartbeatPayload(session, status, now, zone).value());
}

} // namespace

TEST(Heartbeat, whileActiveLeavesTheEndOpen) {
    Session session = UploadWorld().sampleSession();
    const QJsonObject expected = jsonObject(R"({
        "device_uuid": "DEVICE", "session_uuid": "0A1B2C3D-0000-4000-8000-000000000007", "task_id": "41",
        "started_at": "2024-05-01T16:30:00+07:00", "stopped_at": null, "total_seconds": 570,
        "mouse_movements": 12, "key_press_count": 34, "activity_rate": 56.5, "status": "active",
        "intervals": [
            {"interval_uuid": "11111111-0000-4000-8000-00000000000A",
             "started_at": "2024-05-01T16:30:00+07:00", "stopped_at": "2024-05-01T16:31:30+07:00"},
            {"interval_uuid": "22222222-0000-4000-8000-00000000000B",
             "started_at": "2024-05-01T16:32:00+07:00", "stopped_at": null}]})");
    EXPECT_EQ(heartbeat(session, HeartbeatStatus::active), expected);
    const auto bytes = buildHeartbeatPayload(session, HeartbeatStatus::active, now + 0.9, hanoi);
    EXPECT_TRUE(bytes->contains("\"total_seconds\":570")); // whole seconds, cut
    EXPECT_FALSE(bytes->contains('\n'));
    EXPECT_EQ(heartbeat(session, HeartbeatStatus::active, QTimeZone::utc())["started_at"],
              "2024-05-01T09:30:00+00:00");
}

TEST(Heartbeat, whenCompletedClosesOnlyTheLastInterval) {
    Session session = UploadWorld().sampleSession();
    const auto stops = [](const QJsonObject& body) {
        QStringList texts{body["stopped_at"].toString("null"),
                          QString::number(body["total_seconds"].toInt())};
        for (const QJsonValue& interval : body["intervals"].toArray())
            texts.append(interval["stopped_at"].toString("null"));
        return texts.join(' ').remove("2024-05-01T").remove("+07:00");
    };
    EXPECT_EQ(stops(heartbeat(session, HeartbeatStatus::completed)), "16:40:00 570 16:31:30 16:40:00");
    session.intervals[0].stoppedAt.reset(); // a middle one stays open
    session.intervals[1].stoppedAt = utc("2024-05-01T09:35:00Z");
    EXPECT_EQ(stops(heartbeat(session, HeartbeatStatus::completed)), "16:35:00 480 null 16:35:00");
    session.reportedTotalSeconds = 77;
    EXPECT_EQ(stops(heartbeat(session, HeartbeatStatus::completed)), "16:35:00 77 null 16:35:00");
    session.intervals.clear();
    const QJsonObject empty = heartbeat(session, HeartbeatStatus::completed);
    EXPECT_EQ(empty["started_at"], "2024-05-01T16:40:00+07:00");
    EXPECT_EQ(stops(empty), "16:40:00 77");
    EXPECT_TRUE(heartbeat(session, HeartbeatStatus::active)["intervals"].isArray());
}

TEST(Heartbeat, isAbsentWhenANumberIsNotFinite) {
    const Session good = UploadWorld().sampleSession();
    const auto isAbsent = [&](auto change) {
        Session session = good;
        change(session);
        return !buildHeartbeatPayload(session, HeartbeatStatus::completed, now, hanoi).has_value();
    };
    EXPECT_TRUE(isAbsent([](Session& s) { s.activityScore = std::nan(""); }));
    EXPECT_TRUE(isAbsent([](Session& s) { s.intervals[0].startedAt = Date::since2001(std::nan("")); }));
    EXPECT_TRUE(isAbsent([](Session& s) { s.intervals[1].stoppedAt = Date::since2001(INFINITY); }));
    EXPECT_TRUE(isAbsent([](Session& s) { s.intervals[0].startedAt = Date::since2001(-1e18); }));
    EXPECT_FALSE(isAbsent([](Session&) {}));
}

TEST(StartSession, tellsTheFirstStart) {
    Session session = UploadWorld().sampleSession();
    EXPECT_EQ(jsonObject(StartSessionPayload::build(session, hanoi).value()),
              jsonObject(R"({"device_uuid": "DEVICE", "session_uuid": "0A1B2C3D-0000-4000-8000-000000000007",
                             "started_at": "2024-05-01T16:30:00+07:00", "task_id": "41"})"));
    session.intervals.clear();
    EXPECT_FALSE(StartSessionPayload::build(session, hanoi));
}

TEST(TodayTotal, isReadOnlyFromAWholeReply) {
    const auto read = [](const char* reply) { return TrackingEndpointResponse::serverTodayTotal(reply); };
    EXPECT_EQ(
        read(R"({"success":true,"data":{"ok":true,"today_total_seconds":3600,"today_date":"2024-05-01"}})"),
        (ServerTodayTotal{3600, "2024-05-01"}));
    EXPECT_EQ(read(R"({"data":{"ok":null,"today_total_seconds":0,"today_date":""}})"),
              (ServerTodayTotal{0, ""}));
    for (const char* reply :
         {"", "<html>", "[]", "null", "{}", R"({"data":null})", R"({"data":[]})",
          R"({"data":{"today_total_seconds":1}})", R"({"data":{"today_date":"2024-05-01"}})",
          R"({"data":{"today_total_seconds":"1","today_date":"x"}})",
          R"({"data":{"today_total_seconds":1.5,"today_date":"x"}})",
          R"({"data":{"today_total_seconds":1,"today_date":2}})",
          R"({"success":"yes","data":{"today_total_seconds":1,"today_date":"x"}})",
          R"({"data":{"ok":1,"today_total_seconds":1,"today_date":"x"}})"})
        EXPECT_FALSE(read(reply)) << reply;
}

TEST(SegmentBatch, holdsRowsInOrderWithShareOfAWholeSlot) {
    const QByteArray body = SegmentBatch::build({{"2024-05-01", 57, 600, 1200, 3, 4},
                                                 {"2024-05-01", 58, 100, 1, 0, 0},
                                                 {"2024-05-02", 0, -5, 0, 0, 9}},
                                                "DEVICE", "Asia/Tokyo");
    EXPECT_EQ(jsonObject(body), jsonObject(R"({"device_uuid": "DEVICE", "segments": [
        {"segment_date": "2024-05-01", "segment_number": 57, "timezone": "Asia/Tokyo", "activity_rate": 100,
         "mouse_movements": 3, "key_press_count": 4, "non_idle_percent": 100},
        {"segment_date": "2024-05-01", "segment_number": 58, "timezone": "Asia/Tokyo",
         "activity_rate": 16.666666666666668, "mouse_movements": 0, "key_press_count": 0,
         "non_idle_percent": 0.16666666666666666},
        {"segment_date": "2024-05-02", "segment_number": 0, "timezone": "Asia/Tokyo", "activity_rate": 0,
         "mouse_movements": 0, "key_press_count": 9, "non_idle_percent": 0}]})"));
}

TEST(SegmentBatch, readsAcceptedPositionsOnlyFromAWholeReply) {
    using Positions = std::vector<qint64>;
    EXPECT_EQ(SegmentBatch::acceptedPositions(R"({"data":{"accepted":[0,2,-1,9000000000]}})"),
              (Positions{0, 2, -1, 9000000000}));
    EXPECT_EQ(
        SegmentBatch::acceptedPositions(
            R"({"success":false,"data":{"accepted":[],"rejected":[{"index":1},{"index":2,"reason":"x"}]}})"),
        Positions{});
    for (const char* reply :
         {"", "<html>", "[]", "{}", R"({"data":{}})", R"({"data":{"accepted":null}})",
          R"({"data":{"accepted":[0,"1"]}})", R"({"data":{"accepted":[0,null]}})",
          R"({"data":{"accepted":[0.5]}})", R"({"data":{"accepted":{"0":1}}})",
          R"({"success":1,"data":{"accepted":[0]}})", R"({"data":{"accepted":[0],"rejected":[1]}})",
          R"({"data":{"accepted":[0],"rejected":[{"index":"1"}]}})",
          R"({"data":{"accepted":[0],"rejected":"x"}})"})
        EXPECT_FALSE(SegmentBatch::acceptedPositions(reply)) << reply;
}

TEST(SegmentBatch, taskParametersThatDoNotReadAreAbsent) {
    const SegmentUtils::DateAndNumber segment{"2024-05-01", 57};
    EXPECT_EQ(SegmentBatch::openSegment(SegmentBatch::openSegmentPayload(segment)), segment);
    EXPECT_EQ(SegmentBatch::openSegment(R"({"open_segment_date":"2024-05-01","open_segment_number":57.9})"),
              segment);
    EXPECT_FALSE(SegmentBatch::openSegment(std::nullopt));
    for (const char* payload :
         {"", "x", "[]", R"({"open_segment_date":"2024-05-01"})", R"({"open_segment_number":1})",
          R"({"open_segment_date":1,"open_segment_number":1})",
          R"({"open_segment_date":"2024-05-01","open_segment_number":"57"})",
          R"({"open_segment_date":"2024-05-01","open_segment_number":1e300})"})
        EXPECT_FALSE(SegmentBatch::openSegment(QByteArray(payload))) << payload;
}

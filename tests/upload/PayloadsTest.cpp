#include "HeartbeatPayload.h"
#include "SegmentBatch.h"
#include "StartSessionPayload.h"
#include "TrackingEndpointResponse.h"
#include "UploadWorld.h"

#include <QJsonArray>

namespace {

const QTimeZone hanoi("Asia/Ho_Chi_Minh");
const Date now = utc("2024-05-01T09:40:00Z");

} // namespace

TEST(Payloads, activeHeartbeatLeavesTheEndOpen) {
    const auto bytes =
        buildHeartbeatPayload(sampleSession(), HeartbeatStatus::active, now + 0.9, hanoi).value();
    EXPECT_EQ(jsonObject(bytes), jsonObject(R"({
        "device_uuid": "DEVICE", "session_uuid": "0A1B2C3D-0000-4000-8000-000000000007", "task_id": "41",
        "started_at": "2024-05-01T16:30:00+07:00", "stopped_at": null, "total_seconds": 570,
        "mouse_movements": 12, "key_press_count": 34, "activity_rate": 56.5, "status": "active",
        "intervals": [
            {"interval_uuid": "11111111-0000-4000-8000-00000000000A",
             "started_at": "2024-05-01T16:30:00+07:00", "stopped_at": "2024-05-01T16:31:30+07:00"},
            {"interval_uuid": "22222222-0000-4000-8000-00000000000B",
             "started_at": "2024-05-01T16:32:00+07:00", "stopped_at": null}]})"));
    EXPECT_FALSE(bytes.contains('\n'));
}

TEST(Payloads, completedHeartbeatClosesOnlyTheLastInterval) {
    Session session = sampleSession();
    const auto times = [&] {
        const auto bytes = buildHeartbeatPayload(session, HeartbeatStatus::completed, now, QTimeZone::utc());
        const QJsonObject body = jsonObject(bytes.value());
        QStringList texts{body["started_at"].toString(), body["stopped_at"].toString(),
                          QString::number(body["total_seconds"].toInt()), body["status"].toString()};
        for (const QJsonValue& interval : body["intervals"].toArray())
            texts.append(interval["stopped_at"].toString("null"));
        return texts.join(' ').remove("2024-05-01T").remove("+00:00");
    };
    EXPECT_EQ(times(), "09:30:00 09:40:00 570 completed 09:31:30 09:40:00");
    session.intervals[0].stoppedAt.reset(); // a middle one stays open
    session.intervals[1].stoppedAt = utc("2024-05-01T09:35:00Z");
    EXPECT_EQ(times(), "09:30:00 09:35:00 480 completed null 09:35:00");
    session.intervals.clear();
    session.reportedTotalSeconds = 77;
    EXPECT_EQ(times(), "09:40:00 09:40:00 77 completed");
}

TEST(Payloads, areAbsentWhenANumberCannotBeWritten) {
    const std::function<void(Session&)> changes[] = {
        [](Session& s) { s.activityScore = NAN; },
        [](Session& s) { s.intervals[0].startedAt = Date::since2001(NAN); },
        [](Session& s) { s.intervals[1].stoppedAt = Date::since2001(INFINITY); },
        [](Session& s) { s.intervals[0].startedAt = Date::since2001(-1e18); },
    };
    for (const auto& change : changes) {
        Session session = sampleSession();
        change(session);
        EXPECT_FALSE(buildHeartbeatPayload(session, HeartbeatStatus::completed, now, hanoi));
    }
}

TEST(Payloads, sessionStartTellsTheFirstStart) {
    EXPECT_EQ(jsonObject(StartSessionPayload::build(sampleSession(), hanoi).value()),
              jsonObject(R"({"device_uuid": "DEVICE", "session_uuid": "0A1B2C3D-0000-4000-8000-000000000007",
                             "started_at": "2024-05-01T16:30:00+07:00", "task_id": "41"})"));
}

TEST(Payloads, todayTotalIsReadOnlyFromAWholeReply) {
    const auto read = [](const char* reply) { return TrackingEndpointResponse::serverTodayTotal(reply); };
    EXPECT_EQ(read(R"({"data":{"ok":null,"today_total_seconds":0,"today_date":""}})"),
              (ServerTodayTotal{0, ""}));
    for (const char* reply :
         {"", "<html>", "[]", "{}", R"({"data":[]})", R"({"data":{"today_total_seconds":1}})",
          R"({"data":{"today_date":"2024-05-01"}})",
          R"({"data":{"today_total_seconds":"1","today_date":"x"}})",
          R"({"data":{"today_total_seconds":1.5,"today_date":"x"}})",
          R"({"data":{"today_total_seconds":1,"today_date":2}})",
          R"({"success":"yes","data":{"today_total_seconds":1,"today_date":"x"}})",
          R"({"data":{"ok":1,"today_total_seconds":1,"today_date":"x"}})"})
        EXPECT_FALSE(read(reply)) << reply;
}

TEST(Payloads, segmentBatchHoldsRowsInOrderWithTheirShareOfAWholeSlot) {
    EXPECT_EQ(
        jsonObject(SegmentBatch::build(
            {{"2024-05-01", 57, 601, 1200, 3, 4}, {"2024-05-02", 0, 100, -5, 0, 9}}, "DEVICE", "Asia/Tokyo")),
        jsonObject(R"({"device_uuid": "DEVICE", "segments": [
        {"segment_date": "2024-05-01", "segment_number": 57, "timezone": "Asia/Tokyo", "activity_rate": 100,
         "mouse_movements": 3, "key_press_count": 4, "non_idle_percent": 100},
        {"segment_date": "2024-05-02", "segment_number": 0, "timezone": "Asia/Tokyo",
         "activity_rate": 16.666666666666668, "mouse_movements": 0, "key_press_count": 9, "non_idle_percent": 0}]})"));
}

TEST(Payloads, acceptedPositionsAreReadOnlyFromAWholeReply) {
    using Positions = std::vector<qint64>;
    EXPECT_EQ(
        SegmentBatch::acceptedPositions(
            R"({"success":false,"data":{"accepted":[0,-1,9000000000],"rejected":[{"index":2,"reason":"x"}]}})"),
        (Positions{0, -1, 9000000000}));
    for (const char* reply : {"", "[]", "{}", R"({"data":{}})", R"({"data":{"accepted":[0,null]}})",
                              R"({"data":{"accepted":[0.5]}})", R"({"data":{"accepted":{"0":1}}})",
                              R"({"success":1,"data":{"accepted":[0]}})",
                              R"({"data":{"accepted":[0],"rejected":[{"index":"1"}]}})",
                              R"({"data":{"accepted":[0],"rejected":"x"}})"})
        EXPECT_FALSE(SegmentBatch::acceptedPositions(reply)) << reply;
}

TEST(Payloads, taskParametersThatDoNotReadAreAbsent) {
    const SegmentUtils::DateAndNumber segment{"2024-05-01", 57};
    EXPECT_EQ(SegmentBatch::openSegment(SegmentBatch::openSegmentPayload(segment)), segment);
    EXPECT_EQ(SegmentBatch::openSegment(R"({"open_segment_date":"2024-05-01","open_segment_number":57.9})"),
              segment);
    EXPECT_FALSE(SegmentBatch::openSegment(std::nullopt));
    for (const char* payload :
         {"x", "[]", R"({"open_segment_number":1})", R"({"open_segment_date":"2024-05-01"})",
          R"({"open_segment_date":1,"open_segment_number":1})",
          R"({"open_segment_date":"2024-05-01","open_segment_number":"57"})",
          R"({"open_segment_date":"2024-05-01","open_segment_number":1e300})"})
        EXPECT_FALSE(SegmentBatch::openSegment(QByteArray(payload))) << payload;
}

#include "HeartbeatPayload.h"
#include "ScreenshotFiles.h"
#include "SegmentBatch.h"
#include "TrackingEndpointResponse.h"
#include "UploadWorld.h"

#include <QJsonArray>

namespace {

const QTimeZone hanoi("Asia/Ho_Chi_Minh");
const Date now = halfPastNine + 600;

} // namespace

TEST(Payloads, activeHeartbeatLeavesTheEndOpen) {
    EXPECT_EQ(
        buildHeartbeatPayload(sampleSession(), HeartbeatStatus::active, now + 0.9, hanoi),
        R"({"activity_rate":56.5,"device_uuid":"DEVICE","intervals":[)"
        R"({"interval_uuid":"11111111-0000-4000-8000-00000000000A",)"
        R"("started_at":"2024-05-01T16:30:00+07:00","stopped_at":"2024-05-01T16:31:30+07:00"},)"
        R"({"interval_uuid":"22222222-0000-4000-8000-00000000000B",)"
        R"("started_at":"2024-05-01T16:32:00+07:00","stopped_at":null}],"key_press_count":34,)"
        R"("mouse_movements":12,"session_uuid":"0A1B2C3D-0000-4000-8000-000000000007",)"
        R"("started_at":"2024-05-01T16:30:00+07:00","status":"active","stopped_at":null,"task_id":"41",)"
        R"("total_seconds":570})");
}

TEST(Payloads, completedHeartbeatClosesOnlyTheLastInterval) {
    Session session = sampleSession();
    session.intervals[0].stoppedAt.reset(); // a middle one stays open
    for (const std::optional<Date>& end : {std::optional<Date>(), {halfPastNine + 300}}) {
        session.intervals[1].stoppedAt = end;
        const auto bytes = buildHeartbeatPayload(session, HeartbeatStatus::completed, now, QTimeZone::utc());
        const QJsonObject body = QJsonDocument::fromJson(bytes.value()).object();
        const QString stopped = end ? "2024-05-01T09:35:00+00:00" : "2024-05-01T09:40:00+00:00";
        EXPECT_TRUE(body["stopped_at"] == stopped && body["intervals"][1]["stopped_at"] == stopped);
        EXPECT_TRUE(body["status"] == "completed" && body["intervals"][0]["stopped_at"].isNull());
    }
}

TEST(Payloads, pictureNamesTellTheTimeInTheZoneOfTheCompany) {
    const QString id = sessionText + u'_';
    const auto sentName = [](const QString& name) {
        return ScreenshotFiles::normalizedScreenshotUploadFileName("/f/" + name, QUuid(sessionText), hanoi);
    };
    for (const char* name :
         {"2025-03-14T02-30-00Z_0.jpg", "20250314T093000+0700_0.jpg", "2025-03-14T04-30-00+02:00_0.jpg"})
        EXPECT_EQ(sentName(id + name), id + "2025-03-14T09-30-00+07-00_0.jpg") << name;
    // Others keep their name; in the first, the sign found is the one inside the offset.
    for (const char* name :
         {"2025-03-14T11-30-00+09-00_0.jpg", "2025-03-14T02-30-00Z.jpg", "yesterday_0.jpg"})
        EXPECT_EQ(sentName(id + name), id + name);
}

TEST(Payloads, repliesAreReadWholeOrNotAtAll) {
    const auto reply = [](const char* data) { return "{\"data\":" + QByteArray(data) + "}"; };
    const auto total = TrackingEndpointResponse::serverTodayTotal;
    EXPECT_EQ(total(reply(R"({"ok":null,"today_total_seconds":0,"today_date":""})")),
              (ServerTodayTotal{0, ""}));
    for (const char* data :
         {R"({"today_total_seconds":1})", R"({"today_total_seconds":1.5,"today_date":"x"})"})
        EXPECT_FALSE(total(reply(data))) << data;

    const auto accepted = SegmentBatch::acceptedPositions;
    EXPECT_EQ(accepted(reply(R"({"accepted":[0,-1],"rejected":[{"index":2,"reason":"x"}]},"success":false)")),
              (std::vector<qint64>{0, -1}));
    for (const char* data : {"{}", R"({"accepted":[0,null]})", R"({"accepted":[0],"rejected":"x"})"})
        EXPECT_FALSE(accepted(reply(data))) << data;
}

TEST(Payloads, segmentBatchHoldsRowsInOrderWithTheirShareOfAWholeSlot) {
    EXPECT_EQ(
        SegmentBatch::build({{"2024-05-01", 57, 601, 1200, 3, 4}, {"2024-05-02", 0, 150, -5, 0, 9}}, "DEVICE",
                            "Asia/Tokyo"),
        R"({"device_uuid":"DEVICE","segments":[{"activity_rate":100,"key_press_count":4,"mouse_movements":3,)"
        R"("non_idle_percent":100,"segment_date":"2024-05-01","segment_number":57,"timezone":"Asia/Tokyo"},)"
        R"({"activity_rate":25,"key_press_count":9,"mouse_movements":0,"non_idle_percent":0,)"
        R"("segment_date":"2024-05-02","segment_number":0,"timezone":"Asia/Tokyo"}]})");
}

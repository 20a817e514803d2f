#include "UploadWorld.h"
#include "upload/HeartbeatPayload.h"
#include "upload/TrackingEndpointResponse.h"

static const QTimeZone hanoi("Asia/Ho_Chi_Minh");

TEST(Payloads, heartbeatLeavesTheEndOpenUntilCompletedAndThenClosesTheLastInterval) {
    const Date now = halfPastNine + 600;
    EXPECT_EQ(buildHeartbeatPayload(sampleSession(), HeartbeatStatus::active, now + 0.9, hanoi),
              R"({"activity_rate":56.5,"device_uuid":"DEVICE","intervals":[)"
              R"({"interval_uuid":"11111111-0000-4000-8000-00000000000A",)"
              R"("started_at":"2024-05-01T16:30:00+07:00","stopped_at":"2024-05-01T16:31:30+07:00"},)"
              R"({"interval_uuid":"22222222-0000-4000-8000-00000000000B",)"
              R"("started_at":"2024-05-01T16:32:00+07:00","stopped_at":null}],"key_press_count":34,)"
              R"("mouse_movements":12,"session_uuid":"0A1B2C3D-0000-4000-8000-000000000007",)"
              R"("started_at":"2024-05-01T16:30:00+07:00","status":"active","stopped_at":null,"task_id":"41",)"
              R"("total_seconds":570})");
    Session session = sampleSession();
    session.intervals[0].stoppedAt.reset(); // a middle one stays open
    for (const std::optional<Date>& end : {std::optional<Date>(), {halfPastNine + 300}}) {
        session.intervals[1].stoppedAt = end;
        const auto body = QJsonDocument::fromJson(
            buildHeartbeatPayload(session, HeartbeatStatus::completed, now, QTimeZone::utc()).value());
        const QString stopped = end ? "2024-05-01T09:35:00+00:00" : "2024-05-01T09:40:00+00:00";
        EXPECT_TRUE(body["stopped_at"] == stopped && body["intervals"][1]["stopped_at"] == stopped);
        EXPECT_TRUE(body["status"] == "completed" && body["intervals"][0]["stopped_at"].isNull());
    }
}

TEST(Payloads, todayTotalIsReadWholeOrNotAtAll) {
    const auto total = [](const char* data) {
        return TrackingEndpointResponse::serverTodayTotal("{\"data\":" + QByteArray(data) + "}");
    };
    EXPECT_EQ(total(R"({"ok":null,"today_total_seconds":0,"today_date":""})"), (ServerTodayTotal{0, ""}));
    EXPECT_FALSE(total(R"({"today_total_seconds":1})"));
    EXPECT_FALSE(total(R"({"today_total_seconds":1.5,"today_date":"x"})"));
}

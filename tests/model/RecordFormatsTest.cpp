#include "model/AuthTokens.h"
#include "model/Json.h"
#include "model/RemoteConfig.h"
#include "model/Session.h"
#include "model/UploadTask.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

/// One record's form.
struct Form {
    /// The record read and written again; empty when it cannot be read.
    std::function<QByteArray(const QByteArray&)> rewritten;
    QByteArray whole; ///< With every key, as it is written.
    QStringList optionalKeys;
};

template <typename Record, typename Encoded>
auto rewriter(std::optional<Record> (*decode)(const QByteArray&), Encoded (*encode)(const Record&)) {
    return [=](const QByteArray& json) {
        const auto record = decode(json);
        return record ? std::optional<QByteArray>(encode(*record)).value() : QByteArray();
    };
}

const Form tokens{
    rewriter(decodeAuthTokens, encodeAuthTokens),
    R"({"accessToken":"access","expiresAt":750000000.3333334,"expiresAtRaw":"2024-10-08T00:00:00Z",)"
    R"("refreshExpiresAt":800000000,"refreshExpiresAtRaw":"2026-05-09 00:00:00","refreshToken":"refresh"})",
    {}};
const Form config{
    rewriter(decodeRemoteConfig, encodeRemoteConfig),
    R"({"app_timezone":"Asia/Jakarta","client_download_url":"url","company_name":"Acme","device_id":"d-1",)"
    R"("discard_idle_time":true,"idle_action":"stop","idle_minutes_threshold":-10,)"
    R"("latest_client_version":"1.2","name":"Ann","projects":[{"project_id":"1","project_name":""}],)"
    R"("screenshot_interval_minutes":5,"today_date":"2024-05-01","today_total_seconds":3600,)"
    R"("upload_batch_size":20})",
    {"app_timezone", "client_download_url", "company_name", "idle_action", "name", "today_date",
     "latest_client_version", "today_total_seconds", "upload_batch_size"}};
const Form task{rewriter(decodeUploadTask, encodeUploadTask),
                R"({"createdAt":0.1,"filePath":"/tmp/ä.jpg","id":"0A1B2C3D-0000-4000-8000-000000000001",)"
                R"("jsonPayload":"AP97fQ==","priority":40,"retryCount":5,)"
                R"("sessionId":"00000000-0000-0000-0000-000000000000","status":"inProgress","type":"activitySegment"})",
                {"filePath", "jsonPayload"}};
const Form session{rewriter(decodeSession, encodeSession),
                   R"({"activityScore":41.5,"deviceId":"DEVICE","id":"0A1B2C3D-0000-4000-8000-000000000001",)"
                   R"("idleDiscardCutoffAt":-1.5,"intervals":[{"id":"0A1B2C3D-0000-4000-8000-000000000002",)"
                   R"("startedAt":700000000.25,"stoppedAt":700000060.5},{"id":"0A1B2C3D-0000-4000-8000-000000000003",)"
                   R"("startedAt":700000100}],"keyboardCount":9000000000,"mouseCount":12,"projectId":"",)"
                   R"("projectName":"Über \"alles\"","reportedTotalSeconds":0,"status":"completed"})",
                   {"idleDiscardCutoffAt", "reportedTotalSeconds"}};

} // namespace

TEST(Records, NeedEveryKeyAndItsType) {
    for (const Form& form : {tokens, config, task, session}) {
        EXPECT_EQ(form.rewritten(form.whole).toStdString(), form.whole.toStdString());
        const QJsonObject whole = *Json::object(form.whole);
        for (const QString& key : whole.keys()) {
            SCOPED_TRACE(key.toStdString());
            QJsonObject missing = whole, null = whole, mistyped = whole;
            missing.remove(key);
            null[key] = QJsonValue::Null;
            mistyped[key] = QJsonObject();
            // What is absent is left out, and not written as null.
            const QByteArray bare = form.optionalKeys.contains(key) ? Json::compact(missing) : QByteArray();
            EXPECT_EQ(form.rewritten(Json::compact(missing)), bare);
            EXPECT_EQ(form.rewritten(Json::compact(null)), bare);
            EXPECT_EQ(form.rewritten(Json::compact(mistyped)), "");
        }
        for (const char* garbage : {"", "{", "[]", "{}", "null", "\xff\xfe"})
            EXPECT_EQ(form.rewritten(garbage), "") << garbage;
    }
    EXPECT_TRUE(decodeConfigResponse("{\"data\":" + config.whole + "}"));
    EXPECT_FALSE(decodeConfigResponse(config.whole)); // the reply's wrapper is required
}

TEST(Records, ReadWhatOthersMayHaveWritten) {
    const std::tuple<const Form&, QString, QJsonValue, bool> cases[] = {
        {session, "status", "paused", true},
        {session, "reportedTotalSeconds", 12.5, false},
        {session, "mouseCount", 1e30, false},
        {session, "id", "0a1b2c3d-0000-4000-8000-000000000001", true},
        {session, "intervals", QJsonArray{1}, false},
        {session, "intervals", QJsonArray{QJsonObject{{"startedAt", 1}}}, false},
        {session, "unknownKey", "ignored", true},
        {task, "jsonPayload", "%%", false},
        {task, "priority", 3000000000.0, false},
        {config, "projects", QJsonArray{QJsonObject{{"project_id", "1"}}}, false},
    };
    for (const auto& [form, key, value, isReadable] : cases) {
        QJsonObject json = *Json::object(form.whole);
        json[key] = value;
        EXPECT_EQ(form.rewritten(Json::compact(json)) != "", isReadable) << Json::compact(json).constData();
    }
}

TEST(Records, CarryNumbersBitForBitOrNotAtAll) {
    const double endless = std::numeric_limits<double>::infinity();
    for (const double number : {0.1, 700000000.1234567, 5e-324, -1.7976931348623157e308, endless}) {
        Session carried = *decodeSession(session.whole);
        carried.intervals[0].startedAt = Date::since2001(number);
        carried.activityScore = number / 3;
        carried.mouseCount = std::numeric_limits<qint64>::max();
        const auto encoded = encodeSession(carried);
        ASSERT_EQ(encoded.has_value(), number != endless);
        EXPECT_TRUE(!encoded || decodeSession(*encoded) == carried) << number;
    }
    AuthTokens unwritable = *decodeAuthTokens(tokens.whole);
    unwritable.refreshExpiresAt = Date::since2001(endless);
    EXPECT_TRUE(encodeAuthTokens(unwritable).isEmpty());
}

TEST(SessionTotals, CountIntervalsAndFrozenTotals) {
    const auto at = &Date::since2001;
    Session counted;
    counted.intervals = {{{}, at(500), at(400)}, {{}, at(600), at(610.5)}, {{}, at(900), {}}};
    EXPECT_EQ(counted.totalSeconds(at(890)), 10.5); // a clock set back costs its own interval only
    EXPECT_EQ(counted.totalSecondsForReporting(at(1001)), 111.5);
    counted.reportedTotalSeconds = 0; // a total like any other
    EXPECT_EQ(counted.totalSecondsForReporting(at(1001)), 0);
    EXPECT_EQ(counted.totalSeconds(at(1001)), 111.5);
}

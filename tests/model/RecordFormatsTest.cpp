// The JSON forms of the token set, the configuration and the upload task.

#include "AuthTokens.h"
#include "Json.h"
#include "RemoteConfig.h"
#include "UploadTask.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>

namespace {

/// Each key of `whole` in turn is taken away, set to null and given another type; `isReadable` tells what
/// decodes.
void expectStrictKeys(const QJsonObject& whole, const QStringList& optionalKeys,
                      const std::function<bool(const QByteArray&)>& isReadable) {
    EXPECT_TRUE(isReadable(Json::compact(whole)));
    for (const QString& key : whole.keys()) {
        QJsonObject missing = whole, null = whole, mistyped = whole;
        missing.remove(key);
        null[key] = QJsonValue::Null;
        mistyped[key] = QJsonObject();
        const bool isOptional = optionalKeys.contains(key);
        EXPECT_EQ(isReadable(Json::compact(missing)), isOptional) << key.toStdString();
        EXPECT_EQ(isReadable(Json::compact(null)), isOptional) << key.toStdString();
        EXPECT_FALSE(isReadable(Json::compact(mistyped))) << key.toStdString();
    }
    for (const char* garbage : {"", "{", "[]", "{}", "null"}) {
        EXPECT_FALSE(isReadable(garbage)) << garbage;
    }
}

const AuthTokens tokens{"access",
                        "refresh",
                        Date::since2001(7.5e8 + 1.0 / 3),
                        Date::since2001(8e8),
                        "2024-10-08T00:00:00Z",
                        "2026-05-09 00:00:00"};

RemoteConfig fullConfig() {
    return {"d-1",
            {{"1", "One"}, {"2", ""}},
            5,
            10,
            true,
            20,
            "stop",
            "Ann",
            "Acme",
            "1.2",
            "https://x.test/get",
            "Asia/Ho_Chi_Minh",
            3600,
            "2024-05-01"};
}

} // namespace

TEST(AuthTokensFormat, holdsSixRequiredKeys) {
    const QByteArray encoded = encodeAuthTokens(tokens);
    EXPECT_EQ(decodeAuthTokens(encoded), tokens);
    EXPECT_EQ(
        encoded.toStdString(),
        R"({"accessToken":"access","expiresAt":750000000.3333334,"expiresAtRaw":"2024-10-08T00:00:00Z",)"
        R"("refreshExpiresAt":800000000,"refreshExpiresAtRaw":"2026-05-09 00:00:00","refreshToken":"refresh"})");
    expectStrictKeys(*Json::object(encoded), {},
                     [](const QByteArray& json) { return decodeAuthTokens(json).has_value(); });
    AuthTokens endless = tokens;
    endless.refreshExpiresAt = Date::since2001(INFINITY);
    EXPECT_TRUE(encodeAuthTokens(endless).isEmpty());
}

TEST(RemoteConfigFormat, readsWhatItWrites) {
    const RemoteConfig config = fullConfig();
    const QByteArray encoded = encodeRemoteConfig(config);
    EXPECT_EQ(decodeRemoteConfig(encoded), config);
    EXPECT_EQ(decodeConfigResponse("{\"data\":" + encoded + "}"), config);
    EXPECT_EQ(
        encoded.toStdString(),
        R"({"app_timezone":"Asia/Ho_Chi_Minh","client_download_url":"https://x.test/get","company_name":"Acme",)"
        R"("device_id":"d-1","discard_idle_time":true,"idle_action":"stop","idle_minutes_threshold":10,)"
        R"("latest_client_version":"1.2","name":"Ann","projects":[{"project_id":"1","project_name":"One"},)"
        R"({"project_id":"2","project_name":""}],"screenshot_interval_minutes":5,"today_date":"2024-05-01",)"
        R"("today_total_seconds":3600,"upload_batch_size":20})");

    RemoteConfig bare{"", {}, -1, 0, false, {}, {}, {}, {}, {}, {}, {}, {}, {}};
    EXPECT_EQ(encodeRemoteConfig(bare).toStdString(),
              R"({"device_id":"","discard_idle_time":false,"idle_minutes_threshold":0,"projects":[],)"
              R"("screenshot_interval_minutes":-1})");
    EXPECT_EQ(decodeRemoteConfig(encodeRemoteConfig(bare)), bare);
}

TEST(RemoteConfigFormat, isStrictAboutKeys) {
    const QStringList optionalKeys{
        "app_timezone", "client_download_url",   "company_name",        "idle_action",      "name",
        "today_date",   "latest_client_version", "today_total_seconds", "upload_batch_size"};
    expectStrictKeys(*Json::object(encodeRemoteConfig(fullConfig())), optionalKeys,
                     [](const QByteArray& json) { return decodeRemoteConfig(json).has_value(); });
    for (const char* projects :
         {"[{}]", "[1]", R"([{"project_id":1,"project_name":"x"}])", R"([{"project_id":"1"}])"}) {
        QJsonObject json = *Json::object(encodeRemoteConfig(fullConfig()));
        json["projects"] = QJsonDocument::fromJson(projects).array();
        EXPECT_FALSE(decodeRemoteConfig(Json::compact(json))) << projects;
    }
    for (const char* reply : {"{}", R"({"data":null})", R"({"data":[]})", R"({"data":{}})", "<html>"}) {
        EXPECT_FALSE(decodeConfigResponse(reply)) << reply;
    }
    EXPECT_FALSE(decodeConfigResponse(encodeRemoteConfig(fullConfig()))) << "the reply's wrapper is required";
}

TEST(UploadTaskFormat, readsWhatItWrites) {
    const QUuid id = QUuid::fromString(QString("0a1b2c3d-0000-4000-8000-000000000001"));
    const UploadTask full{id,
                          QUuid(),
                          UploadTaskType::activitySegment,
                          "/tmp/ä.jpg",
                          QByteArray("\x00\xff{}", 4),
                          5,
                          Date::since2001(0.1),
                          UploadTaskStatus::inProgress,
                          40};
    EXPECT_EQ(
        encodeUploadTask(full).toStdString(),
        R"({"createdAt":0.1,"filePath":"/tmp/ä.jpg","id":"0A1B2C3D-0000-4000-8000-000000000001",)"
        R"("jsonPayload":"AP97fQ==","priority":40,"retryCount":5,)"
        R"("sessionId":"00000000-0000-0000-0000-000000000000","status":"inProgress","type":"activitySegment"})");
    EXPECT_EQ(decodeUploadTask(encodeUploadTask(full)), full);

    UploadTask bare = full;
    bare.filePath.reset();
    bare.jsonPayload.reset();
    EXPECT_EQ(decodeUploadTask(encodeUploadTask(bare)), bare);

    expectStrictKeys(*Json::object(encodeUploadTask(full)), {"filePath", "jsonPayload"},
                     [](const QByteArray& json) { return decodeUploadTask(json).has_value(); });
    const struct {
        const char* key;
        QJsonValue value;
    } unreadable[] = {{"type", "Heartbeat"}, {"status", "done"},         {"jsonPayload", "%%"},
                      {"retryCount", 0.5},   {"priority", 3000000000.0}, {"id", "no uuid"}};
    for (const auto& c : unreadable) {
        QJsonObject json = *Json::object(encodeUploadTask(full));
        json[QLatin1StringView(c.key)] = c.value;
        EXPECT_FALSE(decodeUploadTask(Json::compact(json))) << c.key;
    }
}

TEST(UploadTaskNames, areStoredByCaseName) {
    const std::pair<UploadTaskType, const char*> types[] = {
        {UploadTaskType::metadata, "metadata"},
        {UploadTaskType::heartbeat, "heartbeat"},
        {UploadTaskType::screenshot, "screenshot"},
        {UploadTaskType::activitySegment, "activitySegment"},
        {UploadTaskType::startSession, "startSession"}};
    for (const auto& [type, name] : types) {
        EXPECT_EQ(rawName(type), QLatin1StringView(name));
        EXPECT_EQ(uploadTaskType(name), type);
    }
    const std::pair<UploadTaskStatus, const char*> statuses[] = {{UploadTaskStatus::pending, "pending"},
                                                                 {UploadTaskStatus::inProgress, "inProgress"},
                                                                 {UploadTaskStatus::failed, "failed"},
                                                                 {UploadTaskStatus::completed, "completed"}};
    for (const auto& [status, name] : statuses) {
        EXPECT_EQ(rawName(status), QLatin1StringView(name));
        EXPECT_EQ(uploadTaskStatus(name), status);
    }
    EXPECT_FALSE(uploadTaskType("") || uploadTaskType("Metadata") || uploadTaskStatus("in progress"));
}

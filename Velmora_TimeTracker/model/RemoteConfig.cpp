#include "model/RemoteConfig.h"

#include "model/Json.h"

namespace {

std::optional<std::vector<RemoteProject>> projectsFromJson(const QJsonArray& json) {
    std::vector<RemoteProject> projects;
    projects.reserve(static_cast<std::size_t>(json.size()));
    for (const QJsonValue& value : json) {
        const QJsonObject project = value.toObject();
        const auto id = Json::string(project, "project_id");
        const auto name = Json::string(project, "project_name");
        if (!id || !name)
            return std::nullopt;
        projects.push_back({*id, *name});
    }
    return projects;
}

QJsonArray toJson(const std::vector<RemoteProject>& projects) {
    QJsonArray json;
    for (const RemoteProject& project : projects)
        json.append(QJsonObject{{"project_id", project.id}, {"project_name", project.name}});
    return json;
}

/// Calls `visit` with the key and the member of each optional value.
template <typename Config, typename Visit>
void forEachOptional(Config& config, Visit visit) {
    visit("upload_batch_size", config.uploadBatchSize);
    visit("idle_action", config.idleAction);
    visit("name", config.name);
    visit("company_name", config.companyName);
    visit("latest_client_version", config.latestClientVersion);
    visit("client_download_url", config.clientDownloadURL);
    visit("app_timezone", config.appTimezone);
    visit("today_total_seconds", config.todayTotalSeconds);
    visit("today_date", config.todayDate);
}

/// Reads an optional key into `value`; false if its type is wrong.
bool read(const QJsonObject& json, const char* key, std::optional<QString>& value) {
    value = Json::string(json, key);
    return !Json::isMistyped(json, key, value);
}
bool read(const QJsonObject& json, const char* key, std::optional<qint64>& value) {
    value = Json::integer(json, key);
    return !Json::isMistyped(json, key, value);
}

std::optional<RemoteConfig> configFromJson(const QJsonObject& json) {
    const auto deviceId = Json::string(json, "device_id");
    const auto projects = Json::then(Json::array(json, "projects"), projectsFromJson);
    const auto screenshotIntervalMinutes = Json::integer(json, "screenshot_interval_minutes");
    const auto idleMinutesThreshold = Json::integer(json, "idle_minutes_threshold");
    const auto discardIdleTime = Json::boolean(json, "discard_idle_time");
    if (!deviceId || !projects || !screenshotIntervalMinutes || !idleMinutesThreshold || !discardIdleTime)
        return std::nullopt;
    RemoteConfig config;
    config.deviceId = *deviceId;
    config.projects = *projects;
    config.screenshotIntervalMinutes = *screenshotIntervalMinutes;
    config.idleMinutesThreshold = *idleMinutesThreshold;
    config.discardIdleTime = *discardIdleTime;
    bool isWellTyped = true;
    forEachOptional(config, [&](const char* key, auto& value) { isWellTyped = read(json, key, value) && isWellTyped; });
    return isWellTyped ? std::optional(config) : std::nullopt;
}

} // namespace

std::optional<RemoteConfig> decodeRemoteConfig(const QByteArray& encoded) {
    return Json::then(Json::object(encoded), configFromJson);
}

std::optional<RemoteConfig> decodeConfigResponse(const QByteArray& reply) {
    const QJsonObject wrapper = Json::object(reply).value_or(QJsonObject());
    return Json::then(Json::object(wrapper, "data"), configFromJson);
}

QByteArray encodeRemoteConfig(const RemoteConfig& config) {
    QJsonObject json{
        {"device_id", config.deviceId},
        {"projects", toJson(config.projects)},
        {"screenshot_interval_minutes", config.screenshotIntervalMinutes},
        {"idle_minutes_threshold", config.idleMinutesThreshold},
        {"discard_idle_time", config.discardIdleTime},
    };
    forEachOptional(config, [&json](const char* key, const auto& value) {
        if (value) {
            json.insert(QLatin1StringView(key), *value);
        }
    });
    return Json::compact(json);
}

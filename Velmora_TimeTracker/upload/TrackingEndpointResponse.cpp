#include "upload/TrackingEndpointResponse.h"

#include "model/Json.h"

bool TrackingEndpointResponse::isOfToldShape(const QByteArray& responseData) {
    return responseData.trimmed().isEmpty() || Json::object(responseData);
}

std::optional<ServerTodayTotal> TrackingEndpointResponse::serverTodayTotal(const QByteArray& responseData) {
    const auto reply = Json::object(responseData);
    if (!reply)
        return std::nullopt;
    const QString successKey = "success";
    const QString okKey = "ok";
    // A member of the wrong type invalidates the whole reply, even if it is not used.
    const auto data = Json::object(*reply, "data");
    if (!data || Json::isMistyped(*reply, successKey, Json::boolean(*reply, successKey)) ||
        Json::isMistyped(*data, okKey, Json::boolean(*data, okKey)))
        return std::nullopt;
    const auto seconds = Json::integer(*data, "today_total_seconds");
    const auto date = Json::string(*data, "today_date");
    return seconds && date ? std::optional(ServerTodayTotal{*seconds, *date}) : std::nullopt;
}

#include "upload/SegmentBatch.h"

#include "model/Json.h"

#include <algorithm>
#include <limits>

namespace {

constexpr QLatin1StringView openDateKey("open_segment_date");
constexpr QLatin1StringView openNumberKey("open_segment_number");

/// Seconds of a whole segment, even if only a part was tracked.
double percentOfSegment(int seconds) {
    return std::clamp(seconds * 100.0 / SegmentUtils::secondsPerSegment, 0.0, 100.0);
}

/// Rejections have no effect, but an invalid one invalidates the whole reply.
bool isReadableRejection(const QJsonValue& value) {
    if (!value.isObject())
        return false;
    const QJsonObject rejection = value.toObject();
    const QString indexKey = "index";
    const QString reasonKey = "reason";
    return !Json::isMistyped(rejection, indexKey, Json::integer(rejection, indexKey)) &&
           !Json::isMistyped(rejection, reasonKey, Json::string(rejection, reasonKey));
}

} // namespace

QByteArray SegmentBatch::build(const std::vector<SQLiteStore::ActivitySegmentRow>& rows, const QString& deviceId,
                               const QString& timezoneIdentifier) {
    QJsonArray segments;
    for (const SQLiteStore::ActivitySegmentRow& row : rows)
        segments.append(QJsonObject{{"segment_date", row.segmentDate},
                                    {"segment_number", row.segmentNumber},
                                    {"timezone", row.timezone.isEmpty() ? timezoneIdentifier : row.timezone},
                                    {"activity_rate", percentOfSegment(row.activeSeconds)},
                                    {"mouse_movements", row.mouseMovements},
                                    {"key_press_count", row.keyboardMovements},
                                    {"non_idle_percent", percentOfSegment(row.nonIdleSeconds)}});
    return Json::compact({{"device_uuid", deviceId}, {"segments", segments}});
}

std::optional<std::vector<qint64>> SegmentBatch::acceptedPositions(const QByteArray& responseData) {
    const QString successKey = "success";
    const QString rejectedKey = "rejected";
    const auto reply = Json::object(responseData);
    const auto data = reply ? Json::object(*reply, "data") : std::nullopt;
    const auto accepted = data ? Json::array(*data, "accepted") : std::nullopt;
    if (!accepted || Json::isMistyped(*reply, successKey, Json::boolean(*reply, successKey)))
        return std::nullopt;

    const auto rejected = Json::array(*data, rejectedKey);
    if (Json::isMistyped(*data, rejectedKey, rejected) ||
        (rejected && !std::all_of(rejected->begin(), rejected->end(), isReadableRejection)))
        return std::nullopt;

    std::vector<qint64> positions;
    for (const QJsonValue& value : *accepted) {
        const auto position = Json::integer(value);
        if (!position)
            return std::nullopt;
        positions.push_back(*position);
    }
    return positions;
}

QByteArray SegmentBatch::openSegmentPayload(const SegmentUtils::DateAndNumber& openSegment) {
    return Json::compact({{openDateKey, openSegment.date}, {openNumberKey, openSegment.number}});
}

std::optional<SegmentUtils::DateAndNumber> SegmentBatch::openSegment(const std::optional<QByteArray>& payload) {
    const auto parameters = payload ? Json::object(*payload) : std::nullopt;
    const auto date = parameters ? Json::string(*parameters, openDateKey) : std::nullopt;
    const auto number = parameters ? Json::number(*parameters, openNumberKey) : std::nullopt;
    constexpr double limit = std::numeric_limits<int>::max();
    if (!date || !number || *number < -limit || *number > limit)
        return std::nullopt;
    return SegmentUtils::DateAndNumber{*date, static_cast<int>(*number)};
}

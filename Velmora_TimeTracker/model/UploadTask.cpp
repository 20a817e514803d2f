#include "model/UploadTask.h"

#include "model/EnumNames.h"
#include "model/Json.h"
#include "model/Session.h"

#include <utility>

namespace {

constexpr std::pair<UploadTaskType, const char*> typeNames[] = {
    {UploadTaskType::metadata, "metadata"},         {UploadTaskType::heartbeat, "heartbeat"},
    {UploadTaskType::screenshot, "screenshot"},     {UploadTaskType::activitySegment, "activitySegment"},
    {UploadTaskType::startSession, "startSession"},
};

constexpr std::pair<UploadTaskStatus, const char*> statusNames[] = {
    {UploadTaskStatus::pending, "pending"},
    {UploadTaskStatus::inProgress, "inProgress"},
    {UploadTaskStatus::failed, "failed"},
    {UploadTaskStatus::completed, "completed"},
};

std::optional<int> smallInteger(const QJsonObject& from, const QString& key) {
    const std::optional<qint64> value = Json::integer(from, key);
    return value && std::in_range<int>(*value) ? std::optional(static_cast<int>(*value)) : std::nullopt;
}

std::optional<QByteArray> base64(const QString& text) {
    const auto decoded = QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::Base64Encoding |
                                                                             QByteArray::AbortOnBase64DecodingErrors);
    return decoded ? std::optional(*decoded) : std::nullopt;
}

} // namespace

QString rawName(UploadTaskType type) {
    return nameOf(typeNames, type);
}
QString rawName(UploadTaskStatus status) {
    return nameOf(statusNames, status);
}
std::optional<UploadTaskType> uploadTaskType(const QString& rawName) {
    return caseOf(typeNames, rawName);
}
std::optional<UploadTaskStatus> uploadTaskStatus(const QString& rawName) {
    return caseOf(statusNames, rawName);
}

QByteArray encodeUploadTask(const UploadTask& task) {
    QJsonObject json{
        {"id", uuidText(task.id)},
        {"sessionId", uuidText(task.sessionId)},
        {"type", rawName(task.type)},
        {"retryCount", task.retryCount},
        {"createdAt", task.createdAt.secondsSince2001},
        {"status", rawName(task.status)},
        {"priority", task.priority},
    };
    if (task.filePath)
        json.insert("filePath", *task.filePath);
    if (task.jsonPayload)
        json.insert("jsonPayload", QString::fromLatin1(task.jsonPayload->toBase64()));
    return Json::compact(json);
}

std::optional<UploadTask> decodeUploadTask(const QByteArray& encoded) {
    const QJsonObject json = Json::object(encoded).value_or(QJsonObject());
    const auto id = Json::uuid(json, "id");
    const auto sessionId = Json::uuid(json, "sessionId");
    const auto type = Json::then(Json::string(json, "type"), uploadTaskType);
    const auto filePath = Json::string(json, "filePath");
    const auto jsonPayload = Json::then(Json::string(json, "jsonPayload"), base64);
    const auto retryCount = smallInteger(json, "retryCount");
    const auto createdAt = Json::date(json, "createdAt");
    const auto status = Json::then(Json::string(json, "status"), uploadTaskStatus);
    const auto priority = smallInteger(json, "priority");
    const bool isComplete = id && sessionId && type && retryCount && createdAt && status && priority;
    if (!isComplete || Json::isMistyped(json, "filePath", filePath) ||
        Json::isMistyped(json, "jsonPayload", jsonPayload))
        return std::nullopt;
    return UploadTask{*id, *sessionId, *type, filePath, jsonPayload, *retryCount, *createdAt, *status, *priority};
}

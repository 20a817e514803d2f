#pragma once

#include "platform/Date.h"

#include <QByteArray>
#include <QString>
#include <QUuid>
#include <optional>

enum class UploadTaskType { metadata, heartbeat, screenshot, activitySegment, startSession };
enum class UploadTaskStatus { pending, inProgress, failed, completed };

/// The database stores the enumerator names.
QString rawName(UploadTaskType type);
QString rawName(UploadTaskStatus status);
std::optional<UploadTaskType> uploadTaskType(const QString& rawName);
std::optional<UploadTaskStatus> uploadTaskStatus(const QString& rawName);

/// One row of the upload queue.
struct UploadTask {
    QUuid id;
    QUuid sessionId; ///< All zero for a task without a session.
    UploadTaskType type = UploadTaskType::metadata;
    std::optional<QString> filePath; ///< Absolute path of a screenshot.
    std::optional<QByteArray> jsonPayload;
    int retryCount = 0;
    Date createdAt;
    UploadTaskStatus status = UploadTaskStatus::pending;
    int priority = 0; ///< Larger runs first.

    friend bool operator==(const UploadTask&, const UploadTask&) = default;
};

/// The keyed JSON form of a task, keys as the fields are named, the payload in base 64. Absent optionals are omitted.
/// `createdAt` must be finite: otherwise it is written as null, which does not decode.
QByteArray encodeUploadTask(const UploadTask& task);
/// Absent when a key other than those two is missing, or any has another type or an unknown name.
std::optional<UploadTask> decodeUploadTask(const QByteArray& encoded);

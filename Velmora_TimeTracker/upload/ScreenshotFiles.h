#pragma once

#include "model/UploadTask.h"
#include "platform/Date.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <functional>
#include <optional>
#include <vector>

class Random;

/// Lists and ages the screenshot files that wait for their upload. Any thread. What cannot be listed, read or deleted is
/// skipped.
namespace ScreenshotFiles {

/// Below all other kinds of task: a backlog of pictures waits behind everything else.
inline constexpr int priority = 10;

UploadTask newTask(const QUuid& id, const QUuid& sessionId, const QString& path, Date createdAt);

/// Pictures of a session in `directory` (created if missing), as absolute paths, unsorted. A picture that is being
/// written has another ending until it is whole.
QStringList forSession(const QUuid& sessionId, const QString& directory);

/// Deletes pictures of `directory` older than seven days and half-written ones older than a minute, and makes a task for
/// every other one whose name begins with a session and that has none. A file without a date never ages.
std::vector<UploadTask>
orphanedScreenshotTasks(const QString& directory, Date now, Random& random,
                        const std::function<bool(const QUuid& sessionId, const QString& path)>& hasQueuedTask);

/// One part and the closing boundary.
QByteArray buildMultipartBody(const QByteArray& fieldName, const QString& fileName, const QByteArray& mimeType,
                              const QByteArray& fileData, const QByteArray& boundary);

} // namespace ScreenshotFiles

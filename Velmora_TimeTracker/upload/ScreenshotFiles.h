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

/// Lists the screenshot files that wait for their upload, and deletes old ones. Skips files that cannot be listed,
/// read or deleted. Any thread.
namespace ScreenshotFiles {

/// Below all other kinds of task: screenshots are sent last.
inline constexpr int priority = 10;

UploadTask newTask(const QUuid& id, const QUuid& sessionId, const QString& path, Date createdAt);

/// The screenshots of a session in `directory` (created if missing), as absolute paths, unsorted, without those still
/// being written.
QStringList forSession(const QUuid& sessionId, const QString& directory);

/// Deletes screenshots in `directory` older than seven days and incomplete ones older than a minute, and returns a
/// task for each other one that belongs to a session and has no task. A file without a date is kept.
std::vector<UploadTask>
orphanedScreenshotTasks(const QString& directory, Date now, Random& random,
                        const std::function<bool(const QUuid& sessionId, const QString& path)>& hasQueuedTask);

/// The multipart body: one part and the closing boundary.
QByteArray buildMultipartBody(const QByteArray& fieldName, const QString& fileName, const QByteArray& mimeType,
                              const QByteArray& fileData, const QByteArray& boundary);

} // namespace ScreenshotFiles

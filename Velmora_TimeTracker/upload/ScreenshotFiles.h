#pragma once

#include "Date.h"
#include "UploadTask.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <QUuid>
#include <functional>
#include <optional>
#include <vector>

class Random;

/// Names, listing and ageing of the picture files that wait for their upload.
namespace ScreenshotFiles {

/// Below all other kinds of task: a backlog of pictures waits behind everything else.
inline constexpr int priority = 10;

UploadTask newTask(const QUuid& id, const QUuid& sessionId, const QString& path, Date createdAt);

/// Files of a session in `directory` (created if missing), as absolute paths, unsorted.
QStringList forSession(const QUuid& sessionId, const QString& directory);

/// The name that the server gets: the capture time written in the API time zone; the file's own name when it
/// does not tell a time.
QString normalizedScreenshotUploadFileName(const QString& path, const QUuid& sessionId,
                                           const QTimeZone& apiTimeZone);

std::optional<Date> parseScreenshotTimestamp(const QString& token);
std::optional<QString> restoredISO8601FromFilenameToken(const QString& token);

/// Deletes files older than seven days, and makes a task for every other named picture without one.
std::vector<UploadTask> orphanedScreenshotTasks(
    const QString& directory, Date now, Random& random,
    const std::function<bool(const QUuid& sessionId, const QString& path)>& hasQueuedTask);

QByteArray buildMultipartBody(const QByteArray& fieldName, const QString& fileName,
                              const QByteArray& mimeType, const QByteArray& fileData,
                              const QByteArray& boundary);

} // namespace ScreenshotFiles

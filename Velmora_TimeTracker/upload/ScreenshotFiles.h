#pragma once

#include "model/UploadTask.h"
#include "platform/Date.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <QUuid>
#include <functional>
#include <optional>
#include <vector>

class Random;

/// Names, listing and ageing of the picture files that wait for their upload. Any thread. What cannot be
/// listed, read or deleted is passed over.
namespace ScreenshotFiles {

/// Below all other kinds of task: a backlog of pictures waits behind everything else.
inline constexpr int priority = 10;

UploadTask newTask(const QUuid& id, const QUuid& sessionId, const QString& path, Date createdAt);

/// Pictures of a session in `directory` (created if missing), as absolute paths, unsorted. A picture that is being
/// written has another ending until it is whole.
QStringList forSession(const QUuid& sessionId, const QString& directory);

/// The name that the server gets: the capture time written in the API time zone; the file's own name when it
/// does not tell a time.
QString normalizedScreenshotUploadFileName(const QString& path, const QUuid& sessionId, const QTimeZone& apiTimeZone);

/// The time that a file name's token tells; absent when it tells none.
std::optional<Date> parseScreenshotTimestamp(const QString& token);
/// "2025-03-14T09:30:00Z" from "2025-03-14T09-30-00Z"; absent for a token without a time or an offset.
std::optional<QString> restoredISO8601FromFilenameToken(const QString& token);

/// Deletes pictures of `directory` older than seven days and half-written ones older than a minute, and makes a task for
/// every other one whose name begins with a session and that has none. A file without a date never ages.
std::vector<UploadTask>
orphanedScreenshotTasks(const QString& directory, Date now, Random& random,
                        const std::function<bool(const QUuid& sessionId, const QString& path)>& hasQueuedTask);

/// One part and the closing boundary.
QByteArray buildMultipartBody(const QByteArray& fieldName, const QString& fileName, const QByteArray& mimeType,
                              const QByteArray& fileData, const QByteArray& boundary);

} // namespace ScreenshotFiles

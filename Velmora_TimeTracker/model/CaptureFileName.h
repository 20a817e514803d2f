#pragma once

#include "platform/Date.h"

#include <QString>
#include <QTimeZone>
#include <QUuid>
#include <optional>

/// Writes and reads the names of screenshot files, "<SESSION-UUID>_<timestamp token>_<display index>.jpg". Pure; any
/// thread.
namespace CaptureFileName {

/// ISO 8601 in `zone` with "-" in place of ":", as in "2025-03-14T09-30-00+07-00". Empty outside the years 1 to 9999.
QString timestampToken(Date date, const QTimeZone& zone);
QString format(const QUuid& sessionId, const QString& timestampToken, int displayIndex);

/// True for a complete screenshot; a file that is still being written has another ending.
bool isPicture(const QString& name);
/// True for the temporary file of a screenshot, which remains when the process dies while writing it.
bool isTemporary(const QString& name);
bool isOfSession(const QString& name, const QUuid& sessionId);
/// The session id before the first "_"; absent without one.
std::optional<QUuid> sessionOf(const QString& name);

/// The name that the server gets: the capture time in the API time zone. Returns `name` itself when it holds no time or
/// belongs to another session.
QString normalizedScreenshotUploadFileName(const QString& name, const QUuid& sessionId, const QTimeZone& apiTimeZone);

} // namespace CaptureFileName

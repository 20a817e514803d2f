#pragma once

#include <QString>
#include <QUuid>

class ApplicationInfo;

/// Where pictures lie and how they are named: captures/<folder of the domain key>/<SESSION-UUID>_<token>_<index>.jpg
/// Any thread.
namespace CaptureFolder {

inline constexpr int maxFileCount = 500;

/// "Velmora TimeTracker/captures" in the application-support folder. Creates nothing.
QString capturesBaseDirectory(const ApplicationInfo& information);
/// The folder of a domain key: its own name, with "/" percent-encoded, so that a mere host keeps the folder that earlier
/// versions gave it. Creates nothing.
QString capturesDirectory(const ApplicationInfo& information, const QString& domainKey);

/// Moves the pictures of one folder into another; a picture that both have stays where it is.
void movePictures(const QString& from, const QString& to);

QString fileName(const QUuid& sessionId, const QString& timestampToken, int displayIndex);

/// Removes the oldest files above `maxFileCount`, queued or not: where queued ones were kept, a full folder would lose
/// each new picture. One log line. How many went.
int cleanupOldCaptures(const QString& directory, int maxFileCount);

} // namespace CaptureFolder

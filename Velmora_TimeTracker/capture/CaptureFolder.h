#pragma once

#include <QSet>
#include <QString>
#include <QUuid>
#include <functional>

class ApplicationInfo;
class DomainStorage;

/// Where pictures lie and how they are named: captures/<folder of the domain key>/<SESSION-UUID>_<token>_<index>.jpg
/// Any thread.
namespace CaptureFolder {

inline constexpr int maxFileCount = 500;

/// "Velmora TimeTracker/captures" in the application-support folder. Creates nothing.
QString capturesBaseDirectory(const ApplicationInfo& information);
/// The folder of a domain key: its own name, with "/" percent-encoded, so that a mere host keeps the folder that earlier
/// versions gave it. Creates nothing.
QString capturesDirectory(const ApplicationInfo& information, const QString& domainKey);
/// The folder of the current company and user. Creates nothing.
QString capturesDirectory(const ApplicationInfo& information, const DomainStorage& domain);

/// Moves the pictures of one folder into another; a picture that both have stays where it is.
void movePictures(const QString& from, const QString& to);

QString fileName(const QUuid& sessionId, const QString& timestampToken, int displayIndex);

/// Removes the oldest files above `maxFileCount`, but none whose absolute path still waits for its upload;
/// the paths are asked for only when there are too many files. Failures are ignored.
void cleanupOldCaptures(const QString& directory, int maxFileCount,
                        const std::function<QSet<QString>()>& pendingUploadFilePaths);

} // namespace CaptureFolder

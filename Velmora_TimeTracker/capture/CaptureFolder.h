#pragma once

#include <QSet>
#include <QString>
#include <QUuid>
#include <functional>

class ApplicationInfo;
class DomainStorage;

/// Where pictures lie and how they are named: captures/<domain key>/<SESSION-UUID>_<token>_<index>.jpg
/// Any thread.
namespace CaptureFolder {

inline constexpr int maxFileCount = 500;

/// "Velmora TimeTracker/captures" in the application-support folder. Creates nothing.
QString capturesBaseDirectory(const ApplicationInfo& information);
/// The folder of the current company. Creates nothing.
QString capturesDirectory(const ApplicationInfo& information, const DomainStorage& domain);

QString fileName(const QUuid& sessionId, const QString& timestampToken, int displayIndex);

/// Removes the oldest files above `maxFileCount`, but none whose absolute path still waits for its upload;
/// the paths are asked for only when there are too many files. Failures are ignored.
void cleanupOldCaptures(const QString& directory, int maxFileCount,
                        const std::function<QSet<QString>()>& pendingUploadFilePaths);

} // namespace CaptureFolder

#pragma once

#include <QString>

class ApplicationInfo;

/// The folders of the screenshots that wait for their upload, one a domain key; CaptureFileName names the files. Any
/// thread.
namespace CaptureFolder {

inline constexpr int maxFileCount = 500;

/// "Velmora TimeTracker/captures" in the application-support folder. Creates nothing.
QString capturesBaseDirectory(const ApplicationInfo& information);
/// The folder of a domain key: its own name, with "/" percent-encoded, so that a mere host keeps the folder that earlier
/// versions gave it. Creates nothing.
QString capturesDirectory(const ApplicationInfo& information, const QString& domainKey);

/// Moves the screenshots of one folder into another, except those whose name exists there.
void movePictures(const QString& from, const QString& to);

/// Removes the oldest files above `maxFileCount`, queued or not: if queued ones were kept, a full folder would lose each
/// new screenshot. Writes one log line. Returns how many it removed.
int cleanupOldCaptures(const QString& directory, int maxFileCount);

} // namespace CaptureFolder

#pragma once

#include <QString>

class ApplicationInfo;

/// The program's own folder "Velmora TimeTracker" below the user's application data: mode 0700, files in it
/// 0600.
namespace ApplicationFolder {

/// Absolute path without a trailing slash. Creates nothing.
QString path(const ApplicationInfo& information);

/// Makes `folder` with its parents, readable by the user alone whatever the mask of the process. `folder` itself,
/// and every level from the own folder downwards, is closed to others when it was open. False when it is not
/// there afterwards.
bool create(const QString& folder);

/// Renames a file that cannot be read to "<name>.unreadable-<yyyyMMdd-HHmmss>" (UTC, by the file's own time
/// of discovery given as `stamp`), so that a new one can be begun; a name that is taken gets a number.
/// Returns the new path, empty on failure.
QString setAside(const QString& file, const QString& stamp);

} // namespace ApplicationFolder

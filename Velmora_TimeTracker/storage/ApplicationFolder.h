#pragma once

#include <QString>

class ApplicationInfo;

/// The program's own folder below the user's application data. Any thread.
namespace ApplicationFolder {

/// Absolute path without a trailing slash. Creates nothing.
QString path(const ApplicationInfo& information);

} // namespace ApplicationFolder

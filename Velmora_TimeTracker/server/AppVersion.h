#pragma once

#include <QString>
#include <vector>

class ApplicationInfo;

/// The program's version and how versions compare. Pure; any thread.
namespace AppVersion {
/// "0.0.0" and "0" if the build has none.
QString currentMarketingVersion(const ApplicationInfo& information);
QString currentBuildVersion(const ApplicationInfo& information);

/// The numbers between the points; empty pieces dropped, of each piece the leading digits, 0 without any.
std::vector<qint64> parse(const QString& version);
/// Missing numbers count as 0, so 1.2 and 1.2.0 are equal.
bool isLower(const QString& version, const QString& than);
} // namespace AppVersion

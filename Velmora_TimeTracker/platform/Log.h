#pragma once

#include <QLoggingCategory>

/// The log channels, all under the subsystem "com.velmora.timetracker". Levels: qCDebug, qCInfo, and qCCritical for
/// the error level. Messages must not hold secrets: payloads pass through LogRedactor first.
namespace Log {
Q_DECLARE_LOGGING_CATEGORY(auth)        ///< login, logout, refresh, restore of the session
Q_DECLARE_LOGGING_CATEGORY(session)     ///< tracking engine
Q_DECLARE_LOGGING_CATEGORY(activity)    ///< input counters
Q_DECLARE_LOGGING_CATEGORY(capture)     ///< screenshots
Q_DECLARE_LOGGING_CATEGORY(upload)      ///< every API exchange and the upload queue
Q_DECLARE_LOGGING_CATEGORY(permissions) ///< permission checks
Q_DECLARE_LOGGING_CATEGORY(legacyShell) ///< menu-bar shell
} // namespace Log

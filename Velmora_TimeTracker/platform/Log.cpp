#include "platform/Log.h"

namespace Log {
Q_LOGGING_CATEGORY(auth, "com.velmora.timetracker.auth", QtInfoMsg)
Q_LOGGING_CATEGORY(session, "com.velmora.timetracker.session", QtInfoMsg)
Q_LOGGING_CATEGORY(activity, "com.velmora.timetracker.activity", QtInfoMsg)
Q_LOGGING_CATEGORY(capture, "com.velmora.timetracker.capture", QtInfoMsg)
Q_LOGGING_CATEGORY(upload, "com.velmora.timetracker.upload", QtInfoMsg)
Q_LOGGING_CATEGORY(permissions, "com.velmora.timetracker.permissions", QtInfoMsg)
Q_LOGGING_CATEGORY(legacyShell, "com.velmora.timetracker.legacy-shell", QtInfoMsg)
} // namespace Log

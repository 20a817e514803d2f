#include "capture/PermissionService.h"

#include "platform/Log.h"
#include "platform/Permissions.h"

using namespace Qt::StringLiterals;

bool PermissionService::hasScreenRecordingPermission() const {
    return permissions_.canRecordScreen();
}

bool PermissionService::hasInputMonitoringPermission() const {
    const int status = permissions_.inputMonitoringStatus();
    const QString word = status == 0   ? u"Granted"_s
                         : status == 1 ? u"Denied"_s
                                       : u"Unknown(rawValue: %1)"_s.arg(status);
    qCDebug(Log::permissions, "Input monitoring = %s", qUtf8Printable(word));
    return status == 0;
}

bool PermissionService::hasRequiredPermissions() const {
    return hasScreenRecordingPermission() && hasInputMonitoringPermission();
}

bool PermissionService::requestInputMonitoringPermissionIfNeeded() {
    if (hasInputMonitoringPermission())
        return true;
    if (hasPromptedInputMonitoringThisLaunch_) {
        qCDebug(Log::permissions, "Input monitoring request: skipped (already prompted this launch)");
        return false;
    }
    hasPromptedInputMonitoringThisLaunch_ = true;
    const bool granted = permissions_.requestInputMonitoring();
    qCInfo(Log::permissions, "Input monitoring request = %s", granted ? "granted" : "denied");
    return granted;
}

QString PermissionService::explanation() const {
    return permissions_.explanation();
}

void PermissionService::openScreenRecordingSettings() {
    permissions_.openScreenRecordingSettings();
}

void PermissionService::openInputMonitoringSettings() {
    permissions_.openInputMonitoringSettings();
}

void PermissionService::revokePermissions() {
    permissions_.reset();
}

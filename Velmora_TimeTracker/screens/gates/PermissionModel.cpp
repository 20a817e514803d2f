#include "screens/gates/PermissionModel.h"

#include "application/AppStateManager.h"
#include "capture/PermissionService.h"

PermissionModel::PermissionModel(const Dependencies& dependencies)
    : deps_(dependencies) {
    connect(&deps_.appState, &AppStateManager::changed, this, &PermissionModel::changed);
}

PermissionModel::PermissionStates PermissionModel::probePermissions() const {
    return {deps_.permissions.hasScreenRecordingPermission(), deps_.permissions.hasInputMonitoringPermission(),
            deps_.permissions.explanation()};
}

void PermissionModel::openScreenRecordingSettings() {
    deps_.permissions.openScreenRecordingSettings();
}

void PermissionModel::askForInputMonitoring() {
    deps_.permissions.requestInputMonitoringPermissionIfNeeded();
    if (!deps_.permissions.hasInputMonitoringPermission())
        deps_.permissions.openInputMonitoringSettings();
    checkPermissionsAgain();
}

void PermissionModel::checkPermissionsAgain() {
    deps_.appState.recomputePermissions();
    // A single permission may have changed without changing whether all are granted.
    Q_EMIT changed();
}

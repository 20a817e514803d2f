#pragma once

#include <QString>

class Permissions;

/// Queries and requests the two permissions that tracking needs. It does not decide what a missing one leads to. Main
/// thread.
class PermissionService {
public:
    explicit PermissionService(Permissions& permissions)
        : permissions_(permissions) {}

    bool hasScreenRecordingPermission() const;
    bool hasInputMonitoringPermission() const;
    /// True if both are granted. Input monitoring is not queried if screen recording is denied.
    bool hasRequiredPermissions() const;

    /// True when granted. The system's prompt is shown at most once per process.
    bool requestInputMonitoringPermissionIfNeeded();

    /// Why a permission is missing, for the user; empty when none is, or no reason is known.
    QString explanation() const;

    void openScreenRecordingSettings();
    void openInputMonitoringSettings();
    /// Blocks until the system has taken both grants back.
    void revokePermissions();

private:
    Permissions& permissions_;
    bool hasPromptedInputMonitoringThisLaunch_ = false;
};

#pragma once

#include <QString>

class Permissions;

/// Queries and actions around the two permissions that tracking needs. It never decides what to do about a
/// missing one. Main thread.
class PermissionService {
public:
    explicit PermissionService(Permissions& permissions)
        : permissions_(permissions) {}

    bool hasScreenRecordingPermission() const;
    bool hasInputMonitoringPermission() const;
    /// Both; input monitoring is not asked when screen recording failed.
    bool hasRequiredPermissions() const;

    /// True when granted. The system's prompt is raised at most once in the life of the process.
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

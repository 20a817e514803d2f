#pragma once

#include <QString>

/// What the desktop session permits. Each query probes again. Safe to call from any thread.
class Permissions {
public:
    virtual ~Permissions() = default;

    /// False if the session permanently denies pictures of the screen; a temporary failure is no denial.
    virtual bool canRecordScreen() = 0;

    /// 0 granted, 1 denied, anything else unknown.
    virtual int inputMonitoringStatus() = 0;

    /// Requests input monitoring, with the system's prompt if there is one; true if granted.
    virtual bool requestInputMonitoring() = 0;

    /// The reasons of denials, in sentences for the user; empty if nothing is denied or no reason is known.
    virtual QString explanation() = 0;

    virtual void openScreenRecordingSettings() = 0;
    virtual void openInputMonitoringSettings() = 0;

    /// Revokes both grants if the system stores grants; blocks until done and ignores failures.
    virtual void reset() = 0;
};

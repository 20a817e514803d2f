#pragma once

#include <QString>

/// What the desktop session lets this program do. Every query is asked afresh. Safe to call from any thread.
class Permissions {
public:
    virtual ~Permissions() = default;

    /// False when a lasting reason denies pictures of the screen. A picture that fails for a passing reason is no denial.
    virtual bool canRecordScreen() = 0;

    /// 0 granted, 1 denied, anything else unknown.
    virtual int inputMonitoringStatus() = 0;

    /// Asks the system for input monitoring, with its prompt if it has one; true when granted.
    virtual bool requestInputMonitoring() = 0;

    /// Why what is denied is denied, in sentences for the user; empty when nothing is denied or no reason is known.
    virtual QString explanation() = 0;

    virtual void openScreenRecordingSettings() = 0;
    virtual void openInputMonitoringSettings() = 0;

    /// Takes both grants back where the system keeps grants; blocks until done. Failures are swallowed.
    virtual void reset() = 0;
};

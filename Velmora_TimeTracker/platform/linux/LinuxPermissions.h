#pragma once

#include "platform/Permissions.h"

class X11DisplaySource;
class X11InputListener;

/// What an X session offers. X11 keeps no grants and has no prompt: whoever may connect may listen and take
/// pictures, so each query simply tries. Both are denied on a Wayland session and without a display. A server that is lost
/// or takes no more clients denies nothing.
class LinuxPermissions : public Permissions {
public:
    LinuxPermissions(X11InputListener& input, X11DisplaySource& displays)
        : input_(input)
        , displays_(displays) {}

    bool canRecordScreen() override;
    int inputMonitoringStatus() override;
    bool requestInputMonitoring() override;

    /// Both open the desktop's settings program, or do nothing where none is installed.
    void openScreenRecordingSettings() override;
    void openInputMonitoringSettings() override;

    /// There is no grant to take back, so nothing happens.
    void reset() override {}

private:
    X11InputListener& input_;
    X11DisplaySource& displays_;
};

#pragma once

#include "platform/Permissions.h"

class InputRoad;
class PictureRoad;

/// What the roads of this session offer. Each query probes the road. A passing failure, such as a lost X server or one
/// that takes no more clients, denies nothing.
class LinuxPermissions : public Permissions {
public:
    LinuxPermissions(InputRoad& input, PictureRoad& pictures)
        : input_(input)
        , pictures_(pictures) {}

    bool canRecordScreen() override;
    int inputMonitoringStatus() override;
    bool requestInputMonitoring() override;
    QString explanation() override;

    /// Both open the desktop's settings program, or do nothing where none is installed.
    void openScreenRecordingSettings() override;
    void openInputMonitoringSettings() override;

    /// There is no grant to take back, so nothing happens.
    void reset() override {}

private:
    InputRoad& input_;
    PictureRoad& pictures_;
};

#pragma once

#include "platform/Permissions.h"

class InputRoad;
class PictureRoad;

/// The permissions as the roads of this session provide them. Each query probes the road. A temporary failure, such as
/// a lost X server or one without free client slots, is no denial.
class LinuxPermissions : public Permissions {
public:
    LinuxPermissions(InputRoad& input, PictureRoad& pictures)
        : input_(input)
        , pictures_(pictures) {}

    bool canRecordScreen() override;
    int inputMonitoringStatus() override;
    bool requestInputMonitoring() override;
    QString explanation() override;

    /// Both open the desktop's settings program, if one is installed.
    void openScreenRecordingSettings() override;
    void openInputMonitoringSettings() override;

    /// Does nothing: there is no stored grant.
    void reset() override {}

private:
    InputRoad& input_;
    PictureRoad& pictures_;
};

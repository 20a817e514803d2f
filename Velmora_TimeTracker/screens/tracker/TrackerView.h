#pragma once

#include "screens/design/VRScrollView.h"

#include <optional>

class TrackerModel;
class TrackerNoticesView;
class VRCard;
class VRLabel;

/// The tracker tab: its banners and notices, and the idle or the active view.
class TrackerView : public VRScrollView {
public:
    TrackerView(TrackerModel& model, const VREnvironment& environment);

private:
    VRCard* makePermissionBanner();
    VRCard* makeMidnightBanner();
    void refresh();
    void showBody(bool tracking);

    TrackerModel& model_;
    VRCard* permissionLost_ = nullptr;
    VRCard* midnight_ = nullptr;
    VRLabel* midnightTask_ = nullptr;
    TrackerNoticesView* notices_ = nullptr;
    QWidget* body_ = nullptr;
    std::optional<bool> showsActive_;
};

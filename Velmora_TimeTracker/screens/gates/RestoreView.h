#pragma once

#include "screens/gates/GateView.h"

class RestoreModel;
class VRButton;
class VRLabel;

/// Shown while the stored sign-in is read.
class RestoreView : public GateView {
public:
    RestoreView(RestoreModel& model, const VREnvironment& environment);

private:
    void refresh();

    RestoreModel& model_;
    VRLabel* slowHint_ = nullptr;
    VRLabel* lockedHint_ = nullptr;
    VRButton* unlock_ = nullptr;
    VRButton* signIn_ = nullptr;
};

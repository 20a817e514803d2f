#pragma once

#include "screens/gates/GateView.h"

class ForcedUpdateModel;
class VRButton;
class VRLabel;

/// Blocks the program until it is updated.
class ForcedUpdateView : public GateView {
public:
    ForcedUpdateView(ForcedUpdateModel& model, const VREnvironment& environment);

private:
    void refresh();

    ForcedUpdateModel& model_;
    VRLabel* version_ = nullptr;
    VRButton* download_ = nullptr;
};

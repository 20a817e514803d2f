#pragma once

#include "screens/gates/GateView.h"

class ForcedUpdateModel;
class VRButton;
class VRLabel;

/// The program is too old; there is no way around.
class ForcedUpdateView : public GateView {
public:
    ForcedUpdateView(ForcedUpdateModel& model, const VREnvironment& environment);

private:
    void refresh();

    ForcedUpdateModel& model_;
    VRLabel* version_ = nullptr;
    VRButton* download_ = nullptr;
};

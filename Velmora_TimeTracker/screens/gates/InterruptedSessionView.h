#pragma once

#include "screens/gates/GateView.h"

class InterruptedSessionModel;
class VRLabel;

/// Offers to resume or finish an interrupted session.
class InterruptedSessionView : public GateView {
public:
    InterruptedSessionView(InterruptedSessionModel& model, const VREnvironment& environment);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void refresh();

    InterruptedSessionModel& model_;
    VRLabel* since_ = nullptr;
    VRLabel* task_ = nullptr;
};

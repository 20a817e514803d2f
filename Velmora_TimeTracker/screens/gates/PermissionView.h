#pragma once

#include "screens/gates/GateView.h"

class PermissionModel;
class VRButton;
class VRCard;
class VRIconView;
class VRLabel;

/// Lists the permissions that tracking needs and their states.
class PermissionView : public GateView {
public:
    PermissionView(PermissionModel& model, const VREnvironment& environment);

protected:
    void showEvent(QShowEvent* event) override;

private:
    struct Row {
        VRIconView* mark = nullptr;
        VRLabel* state = nullptr;
        VRButton* open = nullptr;
    };
    Row addRow(VRCard& card, const QString& icon, const QString& title, const QString& identifier);
    void show(const Row& row, bool granted);
    void refresh();

    PermissionModel& model_;
    Row screen_;
    Row input_;
    VRLabel* explanation_ = nullptr;
};

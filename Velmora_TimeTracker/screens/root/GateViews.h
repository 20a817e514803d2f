#pragma once

#include "screens/design/VRScrollView.h"

class PopoverModel;
class VRButton;
class VRCard;
class VRIconView;
class VRLabel;
class VRSpinner;

/// The screens that stand before the tabs: one message in the middle, and at most a few controls.

/// A column in the middle of the room: an icon, a title, a text, and what the screen adds.
class GateView : public VRScrollView {
protected:
    GateView(const VREnvironment& environment, const QString& title);

    VRLabel* addText(const QString& text, const QString& identifier = {});
    void addCentred(QWidget* widget);
    /// Above the title; made by the caller.
    void putOnTop(QWidget* widget);
};

/// While the stored sign-in is read.
class RestoreView : public GateView {
public:
    RestoreView(PopoverModel& model, const VREnvironment& environment);

private:
    void refresh();

    PopoverModel& model_;
    VRLabel* slowHint_ = nullptr;
    VRLabel* lockedHint_ = nullptr;
    VRButton* unlock_ = nullptr;
    VRButton* signIn_ = nullptr;
};

/// The program is too old; there is no way around.
class ForcedUpdateView : public GateView {
public:
    ForcedUpdateView(PopoverModel& model, const VREnvironment& environment);

private:
    void refresh();

    PopoverModel& model_;
    VRLabel* version_ = nullptr;
    VRButton* download_ = nullptr;
};

/// What tracking needs of the desktop, and whether it is there.
class PermissionView : public GateView {
public:
    PermissionView(PopoverModel& model, const VREnvironment& environment);

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

    PopoverModel& model_;
    Row screen_;
    Row input_;
    VRLabel* explanation_ = nullptr;
};

/// A session that a crash left behind.
class InterruptedSessionView : public GateView {
public:
    InterruptedSessionView(PopoverModel& model, const VREnvironment& environment);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void refresh();

    PopoverModel& model_;
    VRLabel* since_ = nullptr;
    VRLabel* task_ = nullptr;
};

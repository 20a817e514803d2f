#pragma once

#include "screens/design/VRScrollView.h"

class VRLabel;

/// A screen that comes before the tabs: a centred column of an icon, a title, a text, and what the screen adds.
class GateView : public VRScrollView {
protected:
    static constexpr int iconDiameter = 64;

    GateView(const VREnvironment& environment, const QString& title);

    VRLabel* addText(const QString& text, const QString& identifier = {});
    void addCentred(QWidget* widget);
    /// Above the title; takes the widget.
    void putOnTop(QWidget* widget);
};

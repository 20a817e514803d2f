#pragma once

#include "screens/design/VR.h"

#include <QWidget>

class VRButton;
class VRLabel;

/// The bar above every tab: logo, name, tracking status and the button that opens the main window.
class VRHeaderBar : public QWidget {
public:
    VRHeaderBar(const VREnvironment& environment, bool showOpenAppButton);

    void setStatus(const QString& label, const QColor& colour);
    /// Null unless `showOpenAppButton`.
    VRButton* openAppButton() const { return openAppButton_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const VREnvironment& environment_;
    VRLabel* const status_;
    VRButton* openAppButton_ = nullptr;
    QColor statusColour_;
};

#pragma once

#include "screens/design/VR.h"

#include <QVariantAnimation>
#include <QWidget>

/// A progress ring that rotates while it is visible.
class VRSpinner : public QWidget {
public:
    VRSpinner(const VREnvironment& environment, int diameter);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    const VREnvironment& environment_;
    QVariantAnimation turning_;
};

#pragma once

#include "screens/design/VR.h"

#include <QWidget>

/// An icon on a tinted disc.
class VRIconCircle : public QWidget {
public:
    VRIconCircle(const VREnvironment& environment, const QString& icon, int diameter);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const VREnvironment& environment_;
    const QString icon_;
};

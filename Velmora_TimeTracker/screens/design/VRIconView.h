#pragma once

#include "screens/design/VR.h"

#include <QWidget>

/// An icon without interaction.
class VRIconView : public QWidget {
public:
    VRIconView(const VREnvironment& environment, const QString& icon, int size, VR::Ink ink);
    void setIcon(const QString& icon, VR::Ink ink);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const VREnvironment& environment_;
    QString icon_;
    VR::Ink ink_;
};

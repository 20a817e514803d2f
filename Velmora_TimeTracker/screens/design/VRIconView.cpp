#include "screens/design/VRIconView.h"

#include "screens/design/VRImages.h"

#include <QPainter>

VRIconView::VRIconView(const VREnvironment& environment, const QString& icon, int size, VR::Ink ink)
    : environment_(environment)
    , icon_(icon)
    , ink_(ink) {
    setFixedSize(size, size);
}

void VRIconView::setIcon(const QString& icon, VR::Ink ink) {
    if (icon_ == icon && ink_ == ink)
        return;
    icon_ = icon;
    ink_ = ink;
    update();
}

void VRIconView::paintEvent(QPaintEvent*) {
    QPainter(this).drawPixmap(
        0, 0, environment_.images.icon(icon_, VR::colour(ink_, environment_.palette()), width(), devicePixelRatioF()));
}

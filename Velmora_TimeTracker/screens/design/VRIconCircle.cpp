#include "screens/design/VRIconCircle.h"

#include "screens/design/VRImages.h"
#include "screens/design/VRPaint.h"

#include <QPainter>

VRIconCircle::VRIconCircle(const VREnvironment& environment, const QString& icon, int diameter)
    : environment_(environment)
    , icon_(icon) {
    setFixedSize(diameter, diameter);
}

void VRIconCircle::paintEvent(QPaintEvent*) {
    const VRPalette& palette = environment_.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor disc = palette.brand500;
    disc.setAlpha(palette.isDark ? 40 : 28);
    VRPaint::roundedRect(painter, rect(), width() / 2.0, disc);
    const int icon = width() / 2;
    painter.drawPixmap((width() - icon) / 2, (height() - icon) / 2,
                       environment_.images.icon(icon_, palette.accentText(), icon, devicePixelRatioF()));
}

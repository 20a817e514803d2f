#include "screens/design/VRSpinner.h"

#include <QPainter>

VRSpinner::VRSpinner(const VREnvironment& environment, int diameter)
    : environment_(environment) {
    setFixedSize(diameter, diameter);
    // Twelve positions a turn limit the repaints.
    turning_.setStartValue(0);
    turning_.setEndValue(12);
    turning_.setDuration(900);
    turning_.setLoopCount(-1);
    connect(&turning_, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

void VRSpinner::showEvent(QShowEvent*) {
    turning_.start();
}

void VRSpinner::hideEvent(QHideEvent*) {
    turning_.stop();
}

void VRSpinner::paintEvent(QPaintEvent*) {
    const VRPalette& palette = environment_.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double stroke = qMax(2.0, width() / 9.0);
    const QRectF ring = QRectF(rect()).adjusted(stroke, stroke, -stroke, -stroke);
    painter.setPen(QPen(palette.border, stroke));
    painter.drawEllipse(ring);
    painter.setPen(QPen(palette.brand500, stroke, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(ring, -turning_.currentValue().toInt() * 30 * 16, 100 * 16);
}

#include "screens/design/VRProgressBar.h"

#include "screens/design/VRPaint.h"

#include <QPainter>

using namespace Qt::StringLiterals;

VRProgressBar::VRProgressBar(int height) {
    setFixedHeight(height);
    setAccessibleName(u"Progress"_s);
}

void VRProgressBar::setValue(double value) {
    const double clamped = qBound(0.0, value, 1.0);
    const bool isVisibleChange = qRound(clamped * width()) != qRound(value_ * width());
    value_ = clamped;
    if (isVisibleChange)
        update();
}

void VRProgressBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double radius = height() / 2.0;
    VRPaint::roundedRect(painter, rect(), radius, QColor(255, 255, 255, 70));
    if (value_ > 0)
        VRPaint::roundedRect(painter, QRectF(0, 0, qMax<double>(height(), width() * value_), height()), radius,
                             Qt::white);
}

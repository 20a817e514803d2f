#include "screens/design/VRPaint.h"

#include <QLinearGradient>
#include <QPainter>

QBrush VRPaint::gradient(const VRPalette& palette, const QRectF& rect) {
    QLinearGradient gradient(rect.topLeft(), rect.bottomRight());
    for (std::size_t i = 0; i < palette.gradientStops.size(); ++i)
        gradient.setColorAt(VRPalette::gradientPositions[i], palette.gradientStops[i]);
    return gradient;
}

void VRPaint::roundedRect(QPainter& painter, const QRectF& rect, double radius, const QBrush& fill,
                          const QColor& border, double borderWidth) {
    const bool hasBorder = border.alpha() > 0;
    const double inset = hasBorder ? borderWidth / 2 : 0;
    painter.setPen(hasBorder ? QPen(border, borderWidth) : QPen(Qt::NoPen));
    painter.setBrush(fill);
    painter.drawRoundedRect(rect.adjusted(inset, inset, -inset, -inset), radius - inset, radius - inset);
}

void VRPaint::card(QPainter& painter, const QRectF& rect, double radius, const VRPalette& palette) {
    QColor shade = palette.isDark ? QColor(Qt::black) : palette.brand700;
    for (const auto& [spread, alpha] : {std::pair{3.0, 6}, std::pair{2.0, 8}, std::pair{1.0, 10}}) {
        shade.setAlpha(palette.isDark ? alpha * 3 : alpha);
        roundedRect(painter, rect.translated(0, spread), radius, shade);
    }
    roundedRect(painter, rect, radius, palette.surface, palette.border);
}

void VRPaint::focusRing(QPainter& painter, const QRectF& rect, double radius, const QColor& colour) {
    roundedRect(painter, rect, radius, Qt::NoBrush, colour, 2);
}

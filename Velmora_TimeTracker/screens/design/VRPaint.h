#pragma once

#include "screens/design/VR.h"

#include <QBrush>
#include <QRectF>

class QPainter;

/// Painting functions shared by the components.
namespace VRPaint {

/// The palette's gradient over `rect`, from top left to bottom right.
QBrush gradient(const VRPalette& palette, const QRectF& rect);
void roundedRect(QPainter& painter, const QRectF& rect, double radius, const QBrush& fill,
                 const QColor& border = Qt::transparent, double borderWidth = 1);
/// A surface with a thin border and a faint shadow.
void card(QPainter& painter, const QRectF& rect, double radius, const VRPalette& palette);
/// The focus ring, drawn inside `rect`.
void focusRing(QPainter& painter, const QRectF& rect, double radius, const QColor& colour);

} // namespace VRPaint

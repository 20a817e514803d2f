#pragma once

#include "screens/design/VR.h"

#include <QBrush>
#include <QRectF>

class QPainter;

/// The strokes that components share.
namespace VRPaint {

/// The palette's gradient over `rect`, from its left top to its right bottom.
QBrush gradient(const VRPalette& palette, const QRectF& rect);
void roundedRect(QPainter& painter, const QRectF& rect, double radius, const QBrush& fill,
                 const QColor& border = Qt::transparent, double borderWidth = 1);
/// A surface with a thin border and the hint of a shadow below.
void card(QPainter& painter, const QRectF& rect, double radius, const VRPalette& palette);
/// Shows where the keyboard is. Drawn inside `rect`.
void focusRing(QPainter& painter, const QRectF& rect, double radius, const QColor& colour);

} // namespace VRPaint

#pragma once

#include "DisplaySource.h"

#include <QSize>
#include <QSizeF>

/// The arithmetic of picture sizes. Pure.
namespace CaptureGeometry {

/// The longer side of a saved picture is at most this many pixels.
inline constexpr int maxDimension = 1920;

/// The longer side cut to `maxDimension`, aspect kept, sides rounded half away from zero and at least 1;
/// never scaled up.
QSize cappedPixelSize(int width, int height, int maxDimension);

/// Native pixels of a display: each side times `pixelsPerPoint`, rounded up.
QSize nativePixelSize(const Display& display);

/// Pixel width over width of a display mode, when it lies in 1 to 3; otherwise 1.
double pixelScale(int modeWidth, int modePixelWidth);

} // namespace CaptureGeometry

#pragma once

#include "platform/DisplaySource.h"

#include <QSize>

/// The arithmetic of picture sizes, in pixels. Pure; any thread.
namespace CaptureGeometry {

/// The longer side of a saved picture is at most this many pixels.
inline constexpr int maxDimension = 1920;

/// The longer side cut to `maxDimension`, aspect kept, sides rounded half away from zero and at least 1;
/// never scaled up.
QSize cappedPixelSize(int width, int height, int maxDimension);

/// Native pixels of a display: each side times `pixelScale`, rounded up.
QSize nativePixelSize(const DisplayDescription& display, double pixelScale);

/// Pixels of one point as the mode of a display tells them, believed from 1 to 3; otherwise 1.
double pixelScale(const DisplayDescription& display);

} // namespace CaptureGeometry

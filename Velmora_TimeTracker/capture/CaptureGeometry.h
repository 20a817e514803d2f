#pragma once

#include "platform/DisplaySource.h"

#include <QSize>

/// The arithmetic of picture sizes, in pixels. Pure; any thread.
namespace CaptureGeometry {

/// The longer side of a saved picture is at most this many pixels.
inline constexpr int maxDimension = 1920;

/// Limits the longer side to `maxDimension`, aspect kept, sides rounded half away from zero and at least 1; never
/// scaled up.
QSize cappedPixelSize(int width, int height, int maxDimension);

/// Native pixels of a display: each side times `pixelsPerPoint`, rounded up.
QSize nativePixelSize(const DisplayDescription& display);

} // namespace CaptureGeometry

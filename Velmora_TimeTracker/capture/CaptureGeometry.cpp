#include "capture/CaptureGeometry.h"

#include <algorithm>
#include <cmath>

QSize CaptureGeometry::cappedPixelSize(int width, int height, int maxDimension) {
    if (width <= 0 || height <= 0)
        return {std::max(width, 1), std::max(height, 1)};
    const int longer = std::max(width, height);
    if (longer <= maxDimension)
        return {width, height};
    const double scale = static_cast<double>(maxDimension) / longer;
    const auto scaled = [scale](int side) { return std::max(static_cast<int>(std::round(side * scale)), 1); };
    return {scaled(width), scaled(height)};
}

QSize CaptureGeometry::nativePixelSize(const DisplayDescription& display) {
    const auto native = [&](int points) { return static_cast<int>(std::ceil(points * display.pixelsPerPoint)); };
    return {native(display.size.width()), native(display.size.height())};
}

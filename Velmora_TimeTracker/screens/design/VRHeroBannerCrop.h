#pragma once

#include "screens/design/VRPalette.h"

#include <QRectF>

/// Crops a banner to an area of another aspect ratio.
namespace VRHeroBannerCrop {

/// The visible part of the image, in fractions of its width and height (0 to 1). It has the area's aspect ratio, is at
/// most as wide as the banner's `window`, and centres the figure as far as the image's edges allow.
QRectF visiblePart(const VRBannerSpec& banner, QSizeF room);

} // namespace VRHeroBannerCrop

#pragma once

#include "screens/design/VRPalette.h"

#include <QRectF>

/// How a banner fills a room of another shape.
namespace VRHeroBannerCrop {

/// The part of the image that the room shows, in shares of the image's width and height (0 to 1): of the room's
/// shape, no wider than the banner's window, with the figure as near to its middle as the image's edges allow.
QRectF visiblePart(const VRBannerSpec& banner, QSizeF room);

} // namespace VRHeroBannerCrop

#include "screens/design/VRHeroBannerCrop.h"

QRectF VRHeroBannerCrop::visiblePart(const VRBannerSpec& banner, QSizeF room) {
    const double roomAspect = room.width() / room.height();
    const double width = qMin(banner.window, roomAspect / banner.aspect);
    const double height = width * banner.aspect / roomAspect;
    return {qBound(0.0, banner.charCenterX - width / 2, 1 - width), (1 - height) * banner.topBias, width, height};
}

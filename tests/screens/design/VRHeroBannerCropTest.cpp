#include "screens/design/VRHeroBannerCrop.h"

#include "screens/design/VRImages.h"
#include "screens/design/VRPalette.h"

#include <gtest/gtest.h>

TEST(VRImages, DrawEveryBannerOfEveryPalette) {
    for (const VRPalette& palette : VRPalette::all())
        for (const VRBannerSpec& banner : {palette.idleHero(), palette.activeHero(), palette.loginBanner,
                                           palette.forgotBanner, palette.companyBanner})
            EXPECT_FALSE(VRImages::render(banner.imageName, Qt::white, QSize(20, 20), 1).isNull())
                << qPrintable(banner.imageName);
}

TEST(VRHeroBannerCrop, FillsTheAreaAroundTheFigure) {
    for (const auto& [banner, room, part] :
         {std::tuple<VRBannerSpec, QSizeF, QRectF>{{"", 2, 1, 0.625}, {100, 100}, {0.375, 0, 0.5, 1}},
          {{"", 2, 1, 0.9}, {100, 100}, {0.5, 0, 0.5, 1}}, // the edge is nearer
          {{"", 2}, {400, 100}, {0, 0.25, 1, 0.5}},
          {{"", 2, 1, 0.5, 0}, {400, 100}, {0, 0, 1, 0.5}},
          {{"", 2, 0.5, 0.625, 1}, {200, 100}, {0.375, 0.5, 0.5, 0.5}}})
        EXPECT_EQ(VRHeroBannerCrop::visiblePart(banner, room), part) << banner.charCenterX << ' ' << room.width();
}

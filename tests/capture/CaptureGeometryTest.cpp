#include "CaptureGeometry.h"

#include <gtest/gtest.h>

TEST(CaptureGeometry, capsTheLongerSide) {
    struct {
        QSize native;
        QSize capped;
    } const cases[] = {
        {{3840, 2160}, {1920, 1080}},
        {{1440, 900}, {1440, 900}},
        {{1920, 1080}, {1920, 1080}},
        {{1921, 1080}, {1920, 1079}},
        {{1080, 2160}, {960, 1920}},
        {{5120, 1}, {1920, 1}},
        {{2560, 1}, {1920, 1}},
        {{3840, 3}, {1920, 2}},
        {{0, 500}, {1, 500}},
        {{500, 0}, {500, 1}},
        {{-4, 5000}, {1, 5000}},
        {{1, 1}, {1, 1}},
        {{2147483647, 2147483647}, {1920, 1920}},
    };
    for (const auto& [native, capped] : cases)
        EXPECT_EQ(CaptureGeometry::cappedPixelSize(native.width(), native.height(), 1920), capped)
            << native.width();
}

TEST(CaptureGeometry, nativeSizeIsRoundedUp) {
    EXPECT_EQ(CaptureGeometry::nativePixelSize({1, {1440, 900}, 2}), QSize(2880, 1800));
    EXPECT_EQ(CaptureGeometry::nativePixelSize({1, {1367, 771}, 1.5}), QSize(2051, 1157));
}

TEST(CaptureGeometry, scaleOfAModeIsBelievedFromOneToThree) {
    struct {
        int width, pixels;
        double scale;
    } const cases[] = {{1440, 2880, 2}, {1000, 1500, 1.5}, {1000, 3000, 3}, {1000, 3001, 1}, {1000, 999, 1},
                       {1000, 1000, 1}, {0, 1000, 1},      {1000, 0, 1},    {-1, -2, 1}};
    for (const auto& [width, pixels, scale] : cases)
        EXPECT_EQ(CaptureGeometry::pixelScale(width, pixels), scale) << width << ' ' << pixels;
}

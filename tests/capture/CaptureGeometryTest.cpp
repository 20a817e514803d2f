#include "CaptureGeometry.h"

#include <gtest/gtest.h>

TEST(CaptureGeometry, capsTheLongerSide) {
    struct {
        QSize native, capped;
    } const cases[] = {
        {{1920, 1080}, {1920, 1080}}, {{1921, 1080}, {1920, 1079}}, {{1080, 2160}, {960, 1920}},
        {{3840, 3}, {1920, 2}},       {{5120, 1}, {1920, 1}},       {{0, 500}, {1, 500}},
    };
    for (const auto& [native, capped] : cases)
        EXPECT_EQ(CaptureGeometry::cappedPixelSize(native.width(), native.height(), 1920), capped);
}

TEST(CaptureGeometry, nativeSizeIsRoundedUpAndAModeBelievedFromOneToThree) {
    EXPECT_EQ(CaptureGeometry::nativePixelSize({1, {1367, 771}, 1}, 1.5), QSize(2051, 1157));
    const std::pair<double, double> scales[] = {{1, 1}, {1.5, 1.5}, {3, 3}, {3.001, 1}, {0.999, 1}, {NAN, 1}};
    for (const auto& [told, believed] : scales)
        EXPECT_EQ(CaptureGeometry::pixelScale({1, {10, 10}, told}), believed) << told;
}

#include "capture/CaptureGeometry.h"

#include <gtest/gtest.h>

TEST(CaptureGeometry, CapsTheLongerSideAndKeepsTheAspect) {
    const std::pair<QSize, QSize> cases[] = {
        {{1920, 1080}, {1920, 1080}}, {{1921, 1080}, {1920, 1079}}, {{1080, 2160}, {960, 1920}},
        {{3840, 3}, {1920, 2}},       {{5120, 1}, {1920, 1}},       {{0, 500}, {1, 500}},
    };
    for (const auto& [native, capped] : cases)
        EXPECT_EQ(CaptureGeometry::cappedPixelSize(native.width(), native.height(), 1920), capped);
}

TEST(CaptureGeometry, RoundsTheNativeSizeUp) {
    EXPECT_EQ(CaptureGeometry::nativePixelSize({1, {1367, 771}, 1.5}), QSize(2051, 1157));
}

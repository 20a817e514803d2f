#include "platform/linux/jpeg/StripEncoder.h"

#include <QImage>
#include <gtest/gtest.h>
#include <libyuv.h>

TEST(StripEncoder, EqualsScalingTheWholeFrame) {
    const std::pair<QSize, QSize> table[] = {
        {{1000, 33}, {1000, 33}}, {{1921, 1080}, {1920, 1079}}, {{3840, 2160}, {1920, 1080}}, {{997, 701}, {313, 217}}};
    for (const auto& [source, target] : table) {
        SCOPED_TRACE(source.width());
        QImage picture(source, QImage::Format_RGB32);
        // Grey slopes, and edges at every 40 pixels, so that a shifted or missing row shows.
        for (int y = 0; y < source.height(); ++y)
            for (int x = 0; x < source.width(); ++x) {
                const int grey = x * 90 / source.width() + y * 90 / source.height() + (x / 40 + y / 40) % 2 * 60;
                picture.setPixel(x, y, qRgb(grey, grey, grey));
            }
        const auto stride = picture.bytesPerLine();
        QByteArray strip; // a copy of its own, so that a sanitizer sees a step beyond it
        const auto jpeg = encodeStrips(source, target, 1, [&](int first, int count) {
            EXPECT_TRUE(first >= 0 && first + count <= picture.height());
            strip = QByteArray(reinterpret_cast<const char*>(picture.constScanLine(first)), count * stride);
            return reinterpret_cast<const uint8_t*>(strip.constData());
        });
        const QImage decoded = QImage::fromData(jpeg.value_or(""));
        ASSERT_EQ(decoded.size(), target);
        QImage whole(target, QImage::Format_RGB32);
        libyuv::ARGBScale(picture.constBits(), int(stride), source.width(), source.height(), whole.bits(),
                          int(whole.bytesPerLine()), target.width(), target.height(), libyuv::kFilterBox);
        int worst = 0;
        for (int y = 0; y < target.height(); ++y)
            for (int x = 0; x < target.width(); ++x)
                worst = std::max(worst, std::abs(qGray(decoded.pixel(x, y)) - qGray(whole.pixel(x, y))));
        EXPECT_LE(worst, 8);
    }
    const auto endsEarly = [](int, int) -> const uint8_t* { return nullptr; };
    EXPECT_FALSE(encodeStrips({200, 200}, {200, 200}, 0.6, endsEarly));
}

#include "StripEncoder.h"

#include <QImage>
#include <gtest/gtest.h>
#include <libyuv.h>

namespace {

/// Grey slopes, and edges at every 40 pixels, so that a shifted or missing row shows.
QImage makePicture(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
            const int grey = x * 90 / size.width() + y * 90 / size.height() + (x / 40 + y / 40) % 2 * 60;
            image.setPixel(x, y, qRgb(grey, grey, grey));
        }
    return image;
}

} // namespace

TEST(StripEncoder, EqualsScalingTheWholeFrame) {
    const std::pair<QSize, QSize> table[] = {{{1000, 33}, {1000, 33}},
                                             {{1921, 1080}, {1920, 1079}},
                                             {{3840, 2160}, {1920, 1080}},
                                             {{997, 701}, {313, 217}}};
    for (const auto& [source, target] : table) {
        SCOPED_TRACE(source.width());
        const QImage picture = makePicture(source);
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

#include "StripEncoder.h"

#include <QImage>
#include <gtest/gtest.h>
#include <libyuv.h>

namespace {

/// Slopes, and edges at every 40 pixels, so that a shifted or missing row shows.
QImage makePicture(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
            const int edge = (x / 40 + y / 40) % 2 ? 60 : 0;
            image.setPixel(x, y,
                           qRgb(x * 180 / size.width() + edge, y * 180 / size.height() + edge, 90 + edge));
        }
    return image;
}

/// The largest difference of a row's mean brightness.
double rowDifference(const QImage& a, const QImage& b) {
    double largest = 0;
    for (int y = 0; y < a.height(); ++y) {
        double sum = 0;
        for (int x = 0; x < a.width(); ++x)
            sum += std::abs(qGray(a.pixel(x, y)) - qGray(b.pixel(x, y)));
        largest = std::max(largest, sum / a.width());
    }
    return largest;
}

} // namespace

TEST(StripEncoder, EqualsScalingTheWholeFrame) {
    const std::pair<QSize, QSize> table[] = {{{1000, 33}, {1000, 33}},
                                             {{1921, 1080}, {1920, 1079}},
                                             {{3840, 2160}, {1920, 1080}},
                                             {{997, 701}, {313, 217}}};
    for (const auto& [source, target] : table) {
        const QImage picture = makePicture(source);
        const auto stride = picture.bytesPerLine();
        QByteArray strip; // a copy of its own, so that a sanitizer sees a step beyond it
        const auto jpeg = encodeStrips(source, target, 1, [&](int first, int count) {
            EXPECT_TRUE(first >= 0 && first + count <= picture.height());
            EXPECT_LE(count, 32 * 4 + 5) << "a strip is a small part of a picture";
            strip = QByteArray(reinterpret_cast<const char*>(picture.constScanLine(first)), count * stride);
            return reinterpret_cast<const uint8_t*>(strip.constData());
        });
        const QImage decoded = QImage::fromData(jpeg.value_or(""));
        ASSERT_EQ(decoded.size(), target);
        QImage whole(target, QImage::Format_RGB32);
        libyuv::ARGBScale(picture.constBits(), int(stride), source.width(), source.height(), whole.bits(),
                          int(whole.bytesPerLine()), target.width(), target.height(), libyuv::kFilterBox);
        EXPECT_LE(rowDifference(decoded, whole), 2) << source.width() << " to " << target.width();
    }
}

TEST(StripEncoder, FailsWhereRowsAreMissingOrTheFormatEnds) {
    const std::vector<uint8_t> rows(size_t(70000) * 4 * 64, 200);
    const auto grey = [&](int first, int) { return first < 100 ? rows.data() : nullptr; };
    EXPECT_FALSE(encodeStrips({200, 200}, {200, 200}, 0.6, grey));
    EXPECT_FALSE(encodeStrips({70000, 3}, {70000, 3}, 0.6, grey));
    EXPECT_TRUE(encodeStrips({200, 90}, {200, 90}, 0.6, grey));
}

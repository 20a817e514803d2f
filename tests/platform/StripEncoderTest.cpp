#include "StripEncoder.h"

#include <QBuffer>
#include <QImage>
#include <gtest/gtest.h>
#include <libyuv.h>

namespace {

/// Slopes, and edges at every 40 pixels, so that a shifted or missing row shows.
QImage makePicture(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const int edge = (x / 40 + y / 40) % 2 ? 60 : 0;
            row[x] = qRgb(x * 180 / size.width() + edge, y * 180 / size.height() + edge, 90 + edge);
        }
    }
    return image;
}

/// The same road with the whole picture at once: libyuv scales, Qt encodes.
QImage wholeFrame(const QImage& picture, QSize target) {
    QImage scaled(target, QImage::Format_RGB32);
    libyuv::ARGBScale(picture.constBits(), int(picture.bytesPerLine()), picture.width(), picture.height(),
                      scaled.bits(), int(scaled.bytesPerLine()), target.width(), target.height(),
                      libyuv::kFilterBox);
    QBuffer buffer;
    scaled.save(&buffer, "JPEG", 60);
    return QImage::fromData(buffer.data()).convertToFormat(QImage::Format_RGB32);
}

/// The largest difference of a colour, and the mean of all.
std::pair<int, double> difference(const QImage& a, const QImage& b) {
    int largest = 0;
    double sum = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int i = 0; i < 4 * a.width(); i += i % 4 == 2 ? 2 : 1) { // the fourth byte is unused
            const int each = std::abs(a.constScanLine(y)[i] - b.constScanLine(y)[i]);
            largest = std::max(largest, each);
            sum += each;
        }
    return {largest, sum / (3.0 * a.width() * a.height())};
}

} // namespace

TEST(StripEncoder, EqualsScalingAndEncodingTheWholeFrame) {
    const std::pair<QSize, QSize> table[] = {
        {{1, 1}, {1, 1}},
        {{3, 1080}, {3, 1080}},
        {{1000, 33}, {1000, 33}},
        {{1921, 1080}, {1920, 1079}},
        {{3840, 2160}, {1920, 1080}},
        {{7680, 1000}, {1920, 250}},
        {{997, 701}, {313, 217}},
    };
    for (const auto& [source, target] : table) {
        SCOPED_TRACE(testing::Message() << source.width() << " to " << target.width());
        const QImage picture = makePicture(source);
        // Each strip lies between rows of noise, so that a step beyond it shows.
        std::vector<uint8_t> strip;
        int previousFirst = -1;
        const auto jpeg = encodeStrips(source, target, 0.6, [&](int first, int count) {
            EXPECT_TRUE(first > previousFirst && first + count <= picture.height());
            EXPECT_LE(count, 32 * 4 + 5) << "a strip is a small part of a picture";
            previousFirst = first;
            const auto stride = picture.bytesPerLine();
            const auto noise = size_t(8 * stride);
            strip.resize(noise + size_t(count * stride) + noise);
            for (size_t i = 0; i < noise; ++i)
                strip[i] = strip[strip.size() - 1 - i] = uint8_t(i * i >> 3);
            std::copy_n(picture.constScanLine(first), count * stride, strip.data() + noise);
            return strip.data() + noise;
        });
        const QImage decoded = QImage::fromData(jpeg.value_or("")).convertToFormat(QImage::Format_RGB32);
        ASSERT_EQ(decoded.size(), target);
        const auto [largest, mean] = difference(decoded, wholeFrame(picture, target));
        EXPECT_TRUE(largest <= 24 && mean <= 1.0) << largest << ", " << mean;
    }
}

TEST(StripEncoder, HeedsTheQualityAndFailsWhereRowsAreMissingOrTheFormatEnds) {
    std::vector<uint8_t> rows(size_t(70000) * 4 * 64, 200);
    const auto grey = [&](int, int) { return rows.data(); };
    const auto endsEarly = [&](int first, int) { return first < 100 ? rows.data() : nullptr; };
    EXPECT_FALSE(encodeStrips({200, 200}, {200, 200}, 0.6, endsEarly));
    EXPECT_FALSE(encodeStrips({70000, 1}, {70000, 1}, 0.6, grey));
    EXPECT_FALSE(encodeStrips({200, 200}, {0, 200}, 0.6, grey));
    EXPECT_FALSE(encodeStrips({0, 0}, {200, 200}, 0.6, grey));

    const QImage picture = makePicture({640, 480});
    const auto size = [&](double quality) {
        const auto read = [&](int first, int) { return picture.constScanLine(first); };
        return encodeStrips(picture.size(), picture.size(), quality, read).value().size();
    };
    EXPECT_LT(size(0.1), size(0.6));
    EXPECT_LT(size(0.6), size(1));
}

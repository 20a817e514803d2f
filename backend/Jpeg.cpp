#include "backend/Jpeg.h"

namespace backend {

namespace {

constexpr int startOfImage = 0xD8;
constexpr int endOfImage = 0xD9;
constexpr int startOfScan = 0xDA;

/// SOF0 to SOF15 without the three codes of that range that mean tables (DHT, JPG, DAC).
bool isFrameHeader(int marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

} // namespace

std::optional<QSize> jpegSize(QByteArrayView bytes) {
    const auto byte = [bytes](qsizetype at) { return static_cast<unsigned char>(bytes[at]); };
    const auto word = [&byte](qsizetype at) { return byte(at) << 8 | byte(at + 1); };
    const qsizetype size = bytes.size();
    if (size < 4 || word(0) != (0xFF00 | startOfImage) || word(size - 2) != (0xFF00 | endOfImage))
        return std::nullopt;
    for (qsizetype at = 2; at + 4 <= size && byte(at) == 0xFF;) {
        const int marker = byte(at + 1);
        if (marker == 0xFF) { // padding before a marker
            ++at;
            continue;
        }
        if (marker == startOfScan || marker == endOfImage)
            return std::nullopt;
        if (isFrameHeader(marker)) {
            if (at + 9 > size || word(at + 5) == 0 || word(at + 7) == 0)
                return std::nullopt;
            return QSize(word(at + 7), word(at + 5));
        }
        at += 2 + word(at + 2);
    }
    return std::nullopt;
}

} // namespace backend

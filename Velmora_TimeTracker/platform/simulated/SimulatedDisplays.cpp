#include "platform/simulated/SimulatedDisplays.h"

using namespace Qt::StringLiterals;

std::variant<std::vector<DisplayDescription>, DisplayError> SimulatedDisplays::displays() {
    if (listError)
        return DisplayError{*listError, isListErrorDenial};
    return list;
}

PictureResult SimulatedDisplays::picture(const DisplayDescription& display, QSize pixelSize, double quality) {
    if (failingPictures.contains(display.id))
        return DisplayError{u"simulated picture error"_s};
    if (failingEncodings.contains(display.id))
        return EncodingFailed{};
    ++picturesTaken;
    // A JPEG start marker, then what the picture shows; enough for everything that treats pictures as bytes.
    const QByteArray text = u"display %1 %2x%3 at %4"_s.arg(display.id)
                                .arg(pixelSize.width())
                                .arg(pixelSize.height())
                                .arg(quality)
                                .toUtf8();
    return Picture{QByteArray::fromHex("ffd8ffe0") + text + QByteArray::fromHex("ffd9"), pixelSize};
}

namespace {

class Stream : public DisplayStream {
public:
    explicit Stream(SimulatedDisplays& displays)
        : displays_(displays) {}

    std::optional<DisplayError> start(Handler handler) override {
        if (displays_.streamError)
            return DisplayError{*displays_.streamError};
        for (const StreamSample& sample : displays_.streamSamples)
            handler(sample);
        return std::nullopt;
    }
    void stop() override { ++displays_.streamsStopped; }

private:
    SimulatedDisplays& displays_;
};

} // namespace

std::unique_ptr<DisplayStream> SimulatedDisplays::makeStream(const DisplayDescription&, QSize) {
    return std::make_unique<Stream>(*this);
}

std::optional<QByteArray> SimulatedDisplays::encode(const RawImage& image, double) {
    if (image.size.isEmpty())
        return std::nullopt;
    return QByteArray::fromHex("ffd8ffe0") + image.bgrx.left(16) + QByteArray::fromHex("ffd9");
}

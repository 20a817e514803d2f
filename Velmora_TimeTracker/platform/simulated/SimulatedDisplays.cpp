#include "platform/simulated/SimulatedDisplays.h"

#include "platform/StreamedDisplaySource.h"

using namespace Qt::StringLiterals;

namespace {

/// `content` between the start and end markers of a JPEG: enough for code that treats pictures as bytes.
QByteArray jpegOf(const QByteArray& content) {
    return QByteArray::fromHex("ffd8ffe0") + content + QByteArray::fromHex("ffd9");
}

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

class Streams : public StreamSource {
public:
    explicit Streams(SimulatedDisplays& displays)
        : displays_(displays) {}

    std::variant<std::vector<DisplayDescription>, DisplayError> displays() override { return displays_.list; }
    std::unique_ptr<DisplayStream> makeStream(const DisplayDescription&, QSize) override {
        return std::make_unique<Stream>(displays_);
    }
    std::optional<QByteArray> encode(const RawImage& image, double) override {
        return image.size.isEmpty() ? std::nullopt : std::optional(jpegOf(image.bgrx.left(16)));
    }

private:
    SimulatedDisplays& displays_;
};

} // namespace

std::variant<std::vector<DisplayDescription>, DisplayError> SimulatedDisplays::displays() {
    if (listError)
        return DisplayError{*listError, isListErrorDenial};
    Streams source(*this);
    return streams ? StreamedDisplaySource(source).displays() : list;
}

Task<PictureResult> SimulatedDisplays::picture(DisplayDescription display, QSize pixelSize, double quality) {
    if (streams) {
        Streams source(*this);
        StreamedDisplaySource streamed(source);
        co_return co_await streamed.picture(display, pixelSize, quality);
    }
    if (failingPictures.contains(display.id))
        co_return DisplayError{u"simulated picture error"_s};
    if (failingEncodings.contains(display.id))
        co_return EncodingFailed{};
    ++picturesTaken;
    const QByteArray text = u"display %1 %2x%3 at %4"_s.arg(display.id)
                                .arg(pixelSize.width())
                                .arg(pixelSize.height())
                                .arg(quality)
                                .toUtf8();
    co_return Picture{jpegOf(text), pixelSize};
}

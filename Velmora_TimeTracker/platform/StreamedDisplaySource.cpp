#include "platform/StreamedDisplaySource.h"

#include "platform/Log.h"
#include "platform/SingleFrameCollector.h"

std::variant<std::vector<DisplayDescription>, DisplayError> StreamedDisplaySource::displays() {
    auto listed = streams_.displays();
    if (auto* displays = std::get_if<std::vector<DisplayDescription>>(&listed))
        for (DisplayDescription& display : *displays)
            display.pixelsPerPoint = pixelScale(display);
    return listed;
}

Task<PictureResult> StreamedDisplaySource::picture(DisplayDescription display, QSize pixelSize, double quality) {
    const auto collector = std::make_shared<SingleFrameCollector>();
    const auto stream = streams_.makeStream(display, pixelSize);
    if (const auto error = stream->start([collector](StreamSample sample) { collector->receive(std::move(sample)); }))
        co_return *error;
    const std::optional<RawImage> frame = co_await collector->waitForFrame(frameTimeout);
    stream->stop();
    if (!frame) {
        qCCritical(Log::capture, "The stream produced no usable frame for display %u", display.id);
        co_return EncodingFailed{};
    }
    const std::optional<QByteArray> jpeg = streams_.encode(*frame, quality);
    if (!jpeg)
        co_return EncodingFailed{};
    co_return Picture{*jpeg, frame->size};
}

double pixelScale(const DisplayDescription& display) {
    const double ratio = display.pixelsPerPoint;
    return ratio >= 1 && ratio <= 3 ? ratio : 1;
}

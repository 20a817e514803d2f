#include "platform/linux/x11/X11DisplaySource.h"

#include "platform/Log.h"
#include "platform/linux/jpeg/StripEncoder.h"
#include "platform/linux/x11/X11ScreenReader.h"

#include <algorithm>

using namespace Qt::StringLiterals;

X11DisplaySource::X11DisplaySource() = default;
X11DisplaySource::~X11DisplaySource() = default;

Availability X11DisplaySource::probe() {
    const std::unique_lock guard(inUse_, std::try_to_lock);
    if (!guard)
        return Available{}; // a picture is being taken
    if (const auto error = connect())
        return error->isDenial ? Availability(Unavailable{error->description + u'.'}) : Available{};
    if (reader_->read(QRect(0, 0, 1, 1)) || !reader_->isAlive())
        return Available{};
    return Unavailable{u"The X server refuses pictures of the screen."_s};
}

/// Opens the reader if there is none or its server was lost. Returns the error, if any.
std::optional<DisplayError> X11DisplaySource::connect() {
    if (reader_ && reader_->isAlive())
        return std::nullopt;
    auto opened = X11ScreenReader::open();
    if (const auto* error = std::get_if<DisplayError>(&opened))
        return *error;
    reader_ = std::get<0>(std::move(opened));
    return std::nullopt;
}

/// The second attempt reconnects to a server that was restarted since the last picture.
std::variant<std::vector<X11Monitor>, DisplayError> X11DisplaySource::monitors() {
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (const auto error = connect())
            return *error;
        if (auto monitors = reader_->monitors())
            return std::move(*monitors);
        reader_.reset();
    }
    return DisplayError{u"The X server does not answer"_s, false};
}

std::variant<std::vector<DisplayDescription>, DisplayError> X11DisplaySource::displays() {
    const std::lock_guard guard(inUse_);
    const auto found = monitors();
    if (const auto* error = std::get_if<DisplayError>(&found))
        return *error;
    std::vector<DisplayDescription> displays;
    for (const auto& monitor : std::get<0>(found))
        displays.push_back({.id = monitor.id, .size = monitor.area.size()});
    return displays;
}

Task<PictureResult> X11DisplaySource::picture(DisplayDescription display, QSize pixelSize, double quality) {
    co_return take(display, pixelSize, quality);
}

PictureResult X11DisplaySource::take(const DisplayDescription& display, QSize pixelSize, double quality) {
    const std::lock_guard guard(inUse_);
    const auto found = monitors();
    if (const auto* error = std::get_if<DisplayError>(&found))
        return *error;
    const auto& list = std::get<0>(found);
    const auto monitor = std::find_if(list.begin(), list.end(), [&](const X11Monitor& each) {
        return each.id == display.id && each.area.size() == display.size;
    });
    if (monitor == list.end()) {
        qCInfo(Log::capture, "Display %u has changed or gone before its picture was taken", display.id);
        return EncodingFailed{};
    }

    const auto readRows = [&](int first, int count) {
        const QRect& area = monitor->area;
        return reader_->read(QRect(area.x(), area.y() + first, area.width(), count));
    };
    if (auto jpeg = encodeStrips(display.size, pixelSize, quality, readRows))
        return Picture{std::move(*jpeg), pixelSize};
    if (reader_->isAlive())
        return EncodingFailed{};
    return DisplayError{u"The X server was lost while it gave a picture"_s, false};
}

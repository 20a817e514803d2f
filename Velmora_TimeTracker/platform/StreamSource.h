#pragma once

#include "platform/DisplaySource.h"

#include <functional>
#include <memory>
#include <optional>

/// Uncompressed pixels, four bytes each in the order blue, green, red, unused; rows without padding.
struct RawImage {
    QSize size;
    QByteArray bgrx;
};

/// One output of a stream.
struct StreamSample {
    bool isScreen = true;           ///< False for other kinds of output, which are ignored.
    std::optional<int> frameStatus; ///< 0 means a complete frame; absent means unknown, that is, incomplete.
    std::optional<RawImage> image;
};

/// A running stream of one display's frames, for sources that cannot take single pictures.
class DisplayStream {
public:
    using Handler = std::function<void(StreamSample)>;
    virtual ~DisplayStream() = default;
    /// Starts delivering to `handler`, on the serial queue "com.velmora.timetracker.screencapture.frame".
    virtual std::optional<DisplayError> start(Handler handler) = 0;
    /// No handler runs after it has returned.
    virtual void stop() = 0;
};

/// Streams of the displays, for systems that offer no single pictures. Called from background threads only; calls do
/// not overlap.
class StreamSource {
public:
    virtual ~StreamSource() = default;

    virtual std::variant<std::vector<DisplayDescription>, DisplayError> displays() = 0;
    /// Never null.
    virtual std::unique_ptr<DisplayStream> makeStream(const DisplayDescription& display, QSize pixelSize) = 0;
    /// A JPEG of `quality` (0 to 1); absent when the image cannot be encoded.
    virtual std::optional<QByteArray> encode(const RawImage& image, double quality) = 0;
};

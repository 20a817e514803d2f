#pragma once

#include "platform/StreamSource.h"

/// Single pictures out of streams: starts a stream for each picture, takes its first complete frame and stops it. Threads as
/// for `DisplaySource`.
class StreamedDisplaySource : public DisplaySource {
public:
    /// A stream that delivers no complete frame for so long has failed.
    static constexpr Seconds frameTimeout = 5;

    /// `streams` must outlive this object.
    explicit StreamedDisplaySource(StreamSource& streams)
        : streams_(streams) {}

    /// `pixelsPerPoint` is the one of the display's mode, within `pixelScale`.
    std::variant<std::vector<DisplayDescription>, DisplayError> displays() override;
    /// EncodingFailed also when no frame came in time.
    Task<PictureResult> picture(DisplayDescription display, QSize pixelSize, double quality) override;

private:
    StreamSource& streams_;
};

/// Pixels of one point as the mode of a display states them, accepted from 1 to 3; otherwise 1. Pure.
double pixelScale(const DisplayDescription& display);

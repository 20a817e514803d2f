#pragma once

#include "platform/StreamSource.h"

/// Takes single pictures from streams: starts a stream for each picture, takes its first complete frame and stops it.
/// Threads as for `DisplaySource`.
class StreamedDisplaySource : public DisplaySource {
public:
    /// A stream without a complete frame for this long has failed.
    static constexpr Seconds frameTimeout = 5;

    /// `streams` must outlive this object.
    explicit StreamedDisplaySource(StreamSource& streams)
        : streams_(streams) {}

    /// `pixelsPerPoint` is the one of the display's mode, within `pixelScale`.
    std::variant<std::vector<DisplayDescription>, DisplayError> displays() override;
    /// Throws EncodingFailed also on a timeout.
    Task<PictureResult> picture(DisplayDescription display, QSize pixelSize, double quality) override;

private:
    StreamSource& streams_;
};

/// Pixels of one point as the mode of a display states them, accepted from 1 to 3; otherwise 1. Pure.
double pixelScale(const DisplayDescription& display);

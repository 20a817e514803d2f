#pragma once

#include "platform/linux/base/PictureRoad.h"

#include <mutex>

class X11ScreenReader;
struct X11Monitor;

/// Pictures of the monitors of an X session, read in strips of a few rows.
///
/// Displays are the monitors that RandR reports, or the whole screen if it reports none; mirrored outputs are one
/// display. They are sorted by left edge, then by top edge. `DisplayDescription::id` is the atom of the monitor's
/// name, so it stays the same while the monitor is connected.
///
/// A monitor that was removed or resized before its picture was taken gives EncodingFailed. DisplayError is a denial
/// if the server's pixel format differs from 8 bits each of blue, green and red in 32; an X server that is lost or
/// takes no more clients is none.
class X11DisplaySource : public PictureRoad {
public:
    X11DisplaySource();
    ~X11DisplaySource() override;

    std::variant<std::vector<DisplayDescription>, DisplayError> displays() override;
    Task<PictureResult> picture(DisplayDescription display, QSize pixelSize, double quality) override;

    /// Unavailable if the pixel format is not supported, or the server refuses a 1×1 picture of the screen's origin.
    Availability probe() override;

private:
    PictureResult take(const DisplayDescription& display, QSize pixelSize, double quality);
    std::optional<DisplayError> connect();
    std::variant<std::vector<X11Monitor>, DisplayError> monitors();

    std::mutex inUse_;                        ///< Guards the next member.
    std::unique_ptr<X11ScreenReader> reader_; ///< Kept between pictures; null until first used and after a loss.
};

#pragma once

#include "DisplaySource.h"

class X11ScreenReader;
struct X11Monitor;

/// Pictures of the monitors of an X session, read in strips of a few rows.
///
/// Displays are the monitors that RandR tells, or the whole screen where it tells none; outputs that show the
/// same part of the screen are one display. They come in the order of their left edge, then their top edge.
/// `DisplayDescription::id` is the atom of the monitor's name, so a display is found again as long as its
/// monitor is there.
///
/// A monitor that went away or changed its size before its picture was taken proves nothing about the
/// permission: it gives EncodingFailed. DisplayError means no X server, a Wayland session, or a pixel format
/// other than 8 bits each of blue, green and red in 32.
class X11DisplaySource : public DisplaySource {
public:
    X11DisplaySource();
    ~X11DisplaySource() override;

    std::variant<std::vector<DisplayDescription>, DisplayError> displays() override;
    PictureResult picture(const DisplayDescription& display, QSize pixelSize, double quality) override;

    /// True when a 1×1 picture of the screen's origin can be taken now. It uses a connection of its own: any
    /// thread, also while another operation runs.
    bool canTakePicture() const;

private:
    std::variant<std::vector<X11Monitor>, DisplayError> monitors();

    std::unique_ptr<X11ScreenReader>
        reader_; ///< Kept between pictures; null until first used and after a loss.
};

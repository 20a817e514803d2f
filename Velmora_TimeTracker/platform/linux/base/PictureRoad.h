#pragma once

#include "platform/Availability.h"
#include "platform/DisplaySource.h"

/// One way to the pictures of a desktop session.
class PictureRoad : public DisplaySource {
public:
    /// Tries now. Any thread, also while a picture is taken, which it does not wait for.
    virtual Availability probe() = 0;
};

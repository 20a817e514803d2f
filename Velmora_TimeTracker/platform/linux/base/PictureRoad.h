#pragma once

#include "platform/Availability.h"
#include "platform/DisplaySource.h"

/// One way to the pictures of a desktop session.
class PictureRoad : public DisplaySource {
public:
    /// Probes the road. Any thread; does not wait for a picture that is being taken.
    virtual Availability probe() = 0;
};

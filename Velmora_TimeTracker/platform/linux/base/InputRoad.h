#pragma once

#include "platform/Availability.h"
#include "platform/InputEventSource.h"

/// One way to the input events of a desktop session.
class InputRoad : public InputEventSource {
public:
    /// Probes the road, unless it is already in use. Any thread.
    virtual Availability probe() = 0;
};

#pragma once

#include "platform/Date.h"
#include "platform/InputEventSource.h"

#include <optional>

/// The time since the last user input. Works without an open tap. Any thread.
class IdleTimeSource {
public:
    virtual ~IdleTimeSource() = default;

    /// Seconds since the last event of the type mouseMoved (a drag may count as one) or keyDown; since any input,
    /// where the session does not tell them apart; since the source started, if there was none yet. Absent if the
    /// session does not report input: the user then never counts as idle.
    virtual std::optional<Seconds> secondsSinceLast(InputEventType type) = 0;
};

#pragma once

#include "platform/Date.h"
#include "platform/InputEventSource.h"

#include <optional>

/// How long ago the user last did something. Answers also while no tap is open. Safe to call from any thread.
class IdleTimeSource {
public:
    virtual ~IdleTimeSource() = default;

    /// Seconds since the last event of the type: mouseMoved, which a drag may count as, or keyDown; or since any input, where
    /// the session does not tell them apart; since the source came up when there was none yet. Absent when the session does
    /// not report input: the user is then never idle.
    virtual std::optional<Seconds> secondsSinceLast(InputEventType type) = 0;
};

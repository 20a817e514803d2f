#pragma once

#include "model/Session.h"

/// What idleness does to a session. Pure.
namespace IdlePolicy {

/// Takes the time between the last input and the idle pause out of the last interval, when `discardIdleTime`
/// holds and a cutoff is set; clears the cutoff in every case. Never touches an open interval, and never
/// makes one negative.
void applyDiscard(Session& session, bool discardIdleTime);

enum class Action { stop, pause, ask };
/// "stop" and "pause"; anything else, absent included, is `ask`.
Action action(const std::optional<QString>& idleAction);

} // namespace IdlePolicy

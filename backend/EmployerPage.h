#pragma once

#include "backend/Endpoint.h"

namespace backend {

/// The employer's view: one HTML page of a day, chosen by the parameter "day", with each person's sessions,
/// segments and screenshots. Everything that came from outside is escaped.
Reply employerPage(State& state, const Call& call);

} // namespace backend

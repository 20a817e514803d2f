#pragma once

#include "platform/IdleTimeSource.h"
#include "platform/linux/base/InputRoad.h"
#include "platform/linux/base/PictureRoad.h"
#include "platform/linux/session/SessionKind.h"

#include <memory>

/// The road that serves each interface in a session. None is null: where no road leads, one stands that offers nothing
/// and says why. One object may serve two interfaces.
struct Roads {
    std::shared_ptr<InputRoad> input;
    std::shared_ptr<IdleTimeSource> idleTime;
    std::shared_ptr<PictureRoad> pictures;
};

/// Chooses by the kind of the session; opens nothing yet.
Roads roadsOf(SessionKind kind);

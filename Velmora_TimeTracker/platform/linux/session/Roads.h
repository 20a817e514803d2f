#pragma once

#include "platform/IdleTimeSource.h"
#include "platform/linux/base/InputRoad.h"
#include "platform/linux/base/PictureRoad.h"
#include "platform/linux/session/SessionKind.h"

#include <memory>

/// The implementation of each interface in a session. Never null: an unavailable service is represented by an object
/// that reports why. One object may serve two interfaces.
struct Roads {
    std::shared_ptr<InputRoad> input;
    std::shared_ptr<IdleTimeSource> idleTime;
    std::shared_ptr<PictureRoad> pictures;
};

/// Selects by the kind of the session; opens no connection yet.
Roads roadsOf(SessionKind kind);

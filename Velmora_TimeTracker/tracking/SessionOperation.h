#pragma once

#include "tracking/SessionManager.h"

#include <utility>

/// See its declaration. `hasChanged` tells whether the operation is known to change something; when it is
/// not, it says so through `note`.
class SessionManager::Operation {
public:
    explicit Operation(SessionManager& engine, bool hasChanged = true)
        : engine_(engine) {
        ++engine_.operations_;
        note(hasChanged);
    }
    ~Operation() {
        if (--engine_.operations_ == 0 && std::exchange(engine_.hasChanged_, false))
            Q_EMIT engine_.changed();
    }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    void note(bool hasChanged) const { engine_.hasChanged_ |= hasChanged; }

private:
    SessionManager& engine_;
};

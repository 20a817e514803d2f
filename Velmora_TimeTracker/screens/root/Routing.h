#pragma once

#include <QString>

/// What the root view shows, and what it says in its header. Pure.
namespace Routing {

enum class Screen { restore, login, forcedUpdate, permissions, interrupted, tabs };
struct State {
    bool isRestoringSession = false;
    bool isAuthenticated = false;
    bool forceClientUpdate = false;
    bool hasRequiredPermissions = false;
    bool hasInterruptedSession = false;
};
Screen screen(const State& state);
/// The header bar stands above everything from the permissions on.
bool hasHeader(Screen screen);
/// The popover's height in logical pixels.
int contentHeight(Screen screen);

enum class StatusTone { brand, warning, success };
struct HeaderStatus {
    QString label;
    StatusTone tone = StatusTone::brand;
    friend bool operator==(const HeaderStatus&, const HeaderStatus&) = default;
};
HeaderStatus headerStatus(bool isTracking, bool needsIdleDecision, bool isIdle, bool isPaused);

} // namespace Routing

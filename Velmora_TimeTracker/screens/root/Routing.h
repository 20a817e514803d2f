#pragma once

#include <QString>

/// Selects the screen of the root view and the status in its header. Pure.
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
/// True for the screens below the header bar: permissions, interrupted session and tabs.
bool hasHeader(Screen screen);
/// Height of the popover in logical pixels.
int contentHeight(Screen screen);

enum class StatusTone { brand, warning, success };
struct HeaderStatus {
    QString label;
    StatusTone tone = StatusTone::brand;
    friend bool operator==(const HeaderStatus&, const HeaderStatus&) = default;
};
HeaderStatus headerStatus(bool isTracking, bool needsIdleDecision, bool isIdle, bool isPaused);

} // namespace Routing

#include "screens/root/Routing.h"

using namespace Qt::StringLiterals;

Routing::Screen Routing::screen(const State& state) {
    if (state.isRestoringSession)
        return Screen::restore;
    if (!state.isAuthenticated)
        return Screen::login;
    if (state.forceClientUpdate)
        return Screen::forcedUpdate;
    if (!state.hasRequiredPermissions)
        return Screen::permissions;
    return state.hasInterruptedSession ? Screen::interrupted : Screen::tabs;
}

bool Routing::hasHeader(Screen screen) {
    return screen == Screen::permissions || screen == Screen::interrupted || screen == Screen::tabs;
}

int Routing::contentHeight(Screen screen) {
    switch (screen) {
    case Screen::forcedUpdate:
        return 340;
    case Screen::permissions:
        return 320;
    default:
        return 480;
    }
}

Routing::HeaderStatus Routing::headerStatus(bool isTracking, bool needsIdleDecision, bool isIdle, bool isPaused) {
    if (!isTracking)
        return {u"Not Tracking"_s, StatusTone::brand};
    const StatusTone tone = isPaused || isIdle ? StatusTone::warning : StatusTone::success;
    if (needsIdleDecision)
        return {u"Was Idle"_s, tone};
    if (isIdle)
        return {u"Idle – Paused"_s, tone};
    return {isPaused ? u"Paused"_s : u"Tracking"_s, tone};
}

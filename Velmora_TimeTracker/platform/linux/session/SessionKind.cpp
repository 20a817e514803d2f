#include "platform/linux/session/SessionKind.h"

SessionKind sessionKind(const QByteArray& display, const QByteArray& waylandDisplay, const QByteArray& sessionType) {
    if (!waylandDisplay.isEmpty() || sessionType.compare("wayland", Qt::CaseInsensitive) == 0)
        return SessionKind::wayland;
    return display.isEmpty() ? SessionKind::none : SessionKind::x11;
}

SessionKind currentSessionKind() {
    return sessionKind(qgetenv("DISPLAY"), qgetenv("WAYLAND_DISPLAY"), qgetenv("XDG_SESSION_TYPE"));
}

#pragma once

#include <QByteArray>

/// The display system of a session.
enum class SessionKind {
    none, ///< Neither a compositor nor an X server.
    x11,
    wayland, ///< Its X server, if any, provides neither the session's input nor its screen.
};

/// The arguments are the values of DISPLAY, WAYLAND_DISPLAY and XDG_SESSION_TYPE. Pure.
SessionKind sessionKind(const QByteArray& display, const QByteArray& waylandDisplay, const QByteArray& sessionType);

/// The kind of the session that the environment of this process names.
SessionKind currentSessionKind();

#pragma once

#include "tests/platform/Program.h"

/// An X server of a test's own, without a screen, on a display number that the server found free.
class XvfbServer {
public:
    explicit XvfbServer(const QString& screen = "1280x800x24", const QString& options = {})
        : program_("Xvfb -displayfd 1 -noreset -nolisten tcp -screen 0 " + screen + ' ' + options)
        , display_(':' + program_.firstLine()) {}

    /// As in DISPLAY; nobody's when the server did not start.
    QByteArray display() const { return display_; }
    void kill() { program_.end(); }

private:
    Program program_;
    const QByteArray display_;
};

/// Makes this process belong to an X session on `display` (or to none when it is empty) from here on. Give
/// `waylandDisplay` for a Wayland session beside it.
struct SessionEnvironment {
    explicit SessionEnvironment(const QByteArray& display, const QByteArray& waylandDisplay = {}) {
        qputenv("DISPLAY", display);
        qputenv("WAYLAND_DISPLAY", waylandDisplay);
        qunsetenv("XDG_SESSION_TYPE");
        // A server of ours wants none, and looking for one in the home folder is not safe across threads.
        qputenv("XAUTHORITY", "/dev/null");
    }
};

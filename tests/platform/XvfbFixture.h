#pragma once

#include <QByteArray>
#include <QString>
#include <csignal>
#include <cstdio>
#include <sys/types.h>
#include <utility>

/// An X server of a test's own, without a screen, on a display number that the server found free. It ends
/// with this object, or with the thread that made it.
class XvfbServer {
public:
    explicit XvfbServer(const QString& screen = QStringLiteral("1280x800x24"), const QByteArray& options = {})
        : output_(popen(command(screen.toLatin1(), options).constData(), "re"))
        , process_(nextLine().toInt())
        , display_(':' + nextLine()) {}
    ~XvfbServer() { kill(); }
    XvfbServer(const XvfbServer&) = delete;
    XvfbServer& operator=(const XvfbServer&) = delete;

    /// As in DISPLAY; nobody's when the server did not start.
    QByteArray display() const { return display_; }

    void kill() {
        if (!output_)
            return;
        ::kill(process_, SIGKILL);
        pclose(std::exchange(output_, nullptr));
    }

private:
    /// The shell tells its number and becomes the server, which tells its display.
    static QByteArray command(const QByteArray& screen, const QByteArray& options) {
        return "echo $$; exec setpriv --pdeathsig KILL Xvfb -displayfd 1 -noreset -nolisten tcp -screen 0 " +
               screen + ' ' + options + " 2>/dev/null";
    }
    QByteArray nextLine() {
        char line[32];
        return fgets(line, sizeof line, output_) ? QByteArray(line).trimmed() : QByteArray();
    }

    FILE* output_;
    pid_t process_;
    QByteArray display_;
};

/// Makes this process belong to an X session on `display` (or to none when it is empty) from here on. Give
/// `waylandDisplay` for a Wayland session beside it.
struct SessionEnvironment {
    explicit SessionEnvironment(const QByteArray& display, const QByteArray& waylandDisplay = {}) {
        qputenv("DISPLAY", display);
        qputenv("WAYLAND_DISPLAY", waylandDisplay);
        qunsetenv("XDG_SESSION_TYPE");
        // A server of ours wants no authority, and looking for it by the home folder is not safe across
        // threads.
        qputenv("XAUTHORITY", "/dev/null");
    }
};

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/types.h>
#include <utility>

/// An X server of a test's own, without a screen, on a display number that the server found free. It ends
/// with this object, or with the thread that made it.
class XvfbServer {
public:
    explicit XvfbServer(const QString& screen = QStringLiteral("1280x800x24"), const QByteArray& options = {})
        : output_(popen(command(screen.toLatin1(), options).constData(), "re"))
        , process_(nextLine().toInt())
        , display_(nextLine()) {}
    ~XvfbServer() { kill(); }
    XvfbServer(const XvfbServer&) = delete;
    XvfbServer& operator=(const XvfbServer&) = delete;

    /// As in DISPLAY; empty when the server did not start.
    QByteArray display() const { return display_.isEmpty() ? display_ : ':' + display_; }

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

/// Makes this process belong to an X session on `display` (or to none when it is empty) while it lives. Give
/// `waylandDisplay` for a Wayland session beside it.
class SessionEnvironment {
public:
    explicit SessionEnvironment(const QByteArray& display, const QByteArray& waylandDisplay = {}) {
        set("DISPLAY", display);
        set("WAYLAND_DISPLAY", waylandDisplay);
        set("XDG_SESSION_TYPE", {});
        // A server of ours wants no authority, and looking for it by the home folder is not safe across
        // threads.
        set("XAUTHORITY", "/dev/null");
    }
    ~SessionEnvironment() {
        for (const auto& [name, value] : saved_)
            value.isNull() ? qunsetenv(name) : qputenv(name, value);
    }
    SessionEnvironment(const SessionEnvironment&) = delete;
    SessionEnvironment& operator=(const SessionEnvironment&) = delete;

private:
    void set(const char* name, const QByteArray& value) {
        saved_.append({name, qEnvironmentVariableIsSet(name) ? qgetenv(name) : QByteArray()});
        value.isEmpty() ? qunsetenv(name) : qputenv(name, value);
    }
    QList<std::pair<const char*, QByteArray>> saved_;
};

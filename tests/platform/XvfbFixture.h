#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>
#include <csignal>
#include <sys/prctl.h>

/// An X server of a test's own, without a screen, on a display number that the server found free. It ends
/// with this object, or with the thread that made it.
class XvfbServer {
public:
    explicit XvfbServer(const QString& screen = QStringLiteral("1280x800x24"),
                        const QStringList& options = {}) {
        process_.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        process_.setStandardErrorFile(QProcess::nullDevice());
        process_.start(QStringLiteral("Xvfb"),
                       QStringList{QStringLiteral("-displayfd"), QStringLiteral("1"),
                                   QStringLiteral("-noreset"), QStringLiteral("-nolisten"),
                                   QStringLiteral("tcp"), QStringLiteral("-screen"), QStringLiteral("0"),
                                   screen} +
                           options);
        QByteArray number;
        while (!number.endsWith('\n') && process_.waitForReadyRead(10000))
            number += process_.readAllStandardOutput();
        if (number.endsWith('\n'))
            display_ = ':' + number.trimmed();
    }
    ~XvfbServer() { kill(); }
    XvfbServer(const XvfbServer&) = delete;
    XvfbServer& operator=(const XvfbServer&) = delete;

    /// As in DISPLAY; empty when the server did not start.
    const QByteArray& display() const { return display_; }

    void kill() {
        process_.kill();
        process_.waitForFinished(5000);
    }

    /// Runs a program on this display; true when it ended well.
    bool run(const QString& program, const QStringList& arguments) const {
        QProcess child;
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(display_));
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(program, arguments);
        return child.waitForFinished(10000) && child.exitStatus() == QProcess::NormalExit &&
               child.exitCode() == 0;
    }

private:
    QProcess process_;
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

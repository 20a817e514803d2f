#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/// A child process found in PATH, without standard error. Not QProcess: after its fork the thread sanitizer
/// no longer sees how the forking thread synchronizes with others.
class ChildProcess {
public:
    /// With `output` its standard output goes to that descriptor.
    explicit ChildProcess(const QStringList& command, int output = -1) {
        QList<QByteArray> words;
        for (const QString& word : command)
            words.append(word.toLocal8Bit());
        std::vector<char*> arguments;
        for (QByteArray& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        if (output >= 0)
            posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        if (posix_spawnp(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
            pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~ChildProcess() { kill(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void kill() {
        if (pid_ > 0)
            ::kill(pid_, SIGKILL);
        wait();
    }

    /// Until it ended by itself; true when it ended well.
    bool wait() {
        int status = -1;
        if (pid_ > 0)
            while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
            }
        pid_ = -1;
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

private:
    pid_t pid_ = -1;
};

/// An X server of a test's own, without a screen, on a display number that the server found free. It ends
/// with this object, or with the thread that made it.
class XvfbServer {
public:
    explicit XvfbServer(const QString& screen = QStringLiteral("1280x800x24"),
                        const QStringList& options = {})
        : process_(command(screen) + options, outputEnd()) {
        close(pipe_[1]);
        char character = 0;
        pollfd readable{pipe_[0], POLLIN, 0};
        while (character != '\n' && poll(&readable, 1, 10000) == 1 && read(pipe_[0], &character, 1) == 1)
            display_ += character;
        display_ = character == '\n' ? ':' + display_.trimmed() : QByteArray();
        close(pipe_[0]);
    }

    /// As in DISPLAY; empty when the server did not start.
    const QByteArray& display() const { return display_; }

    void kill() { process_.kill(); }

private:
    static QStringList command(const QString& screen) {
        // The server follows this thread into death.
        return {QStringLiteral("setpriv"),  QStringLiteral("--pdeathsig"), QStringLiteral("KILL"),
                QStringLiteral("Xvfb"),     QStringLiteral("-displayfd"),  QStringLiteral("1"),
                QStringLiteral("-noreset"), QStringLiteral("-nolisten"),   QStringLiteral("tcp"),
                QStringLiteral("-screen"),  QStringLiteral("0"),           screen};
    }
    int outputEnd() { return pipe2(pipe_, O_CLOEXEC) == 0 ? pipe_[1] : -1; }

    int pipe_[2] = {-1, -1};
    QByteArray display_;
    ChildProcess process_;
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

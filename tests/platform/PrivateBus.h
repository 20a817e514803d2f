#pragma once

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTemporaryDir>
#include <csignal>
#include <memory>
#include <sys/prctl.h>

/// A message bus of the test's own, and programs that serve on it. From here on it is this process's session
/// and system bus, and its folder the home. All end with the test, also when it dies.
class PrivateBus {
public:
    PrivateBus() {
        for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_DATA_HOME"})
            qputenv(name, folder_.path().toUtf8());
        daemon_ = start("dbus-daemon", {"--nofork", "--print-address", "--address=unix:dir=" + folder_.path(),
                                        "--config-file=" BUS_CONFIGURATION});
        if (!daemon_->waitForReadyRead(30000))
            qFatal("no bus");
        address_ = QString::fromUtf8(daemon_->readAllStandardOutput().trimmed());
        for (const char* name : {"DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"})
            qputenv(name, address_.toUtf8());
    }
    ~PrivateBus() { QDBusConnection::disconnectFromBus(address_); }

    QDBusConnection connection() const { return QDBusConnection::connectToBus(address_, address_); }
    bool has(const QString& name) const { return connection().interface()->isServiceRegistered(name); }

    struct Stop {
        void operator()(QProcess* process) const {
            process->kill();
            process->waitForFinished();
            delete process;
        }
    };
    using Program = std::unique_ptr<QProcess, Stop>;

    /// Ends the program with its owner.
    static Program start(const QString& program, const QStringList& arguments, const QByteArray& input = {}) {
        Program process(new QProcess);
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        process->start(program, arguments);
        process->write(input);
        process->closeWriteChannel();
        return process;
    }

private:
    const QTemporaryDir folder_;
    Program daemon_;
    QString address_;
};

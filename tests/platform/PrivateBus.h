#pragma once

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTemporaryDir>
#include <csignal>
#include <memory>
#include <sys/prctl.h>

/// A message bus of the test's own, on which nothing is started by itself, and programs that serve on it. All
/// end with the test, also when it dies.
class PrivateBus {
public:
    PrivateBus() {
        QFile configuration(folder_.filePath("bus.conf"));
        if (!configuration.open(QIODevice::WriteOnly))
            qFatal("no configuration of the bus");
        configuration.write(
            "<busconfig><type>session</type><listen>unix:dir=" + folder_.path().toUtf8() +
            "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
            "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>");
        configuration.close();
        const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        daemon_ =
            run("dbus-daemon", {"--nofork", "--print-address", "--config-file=" + configuration.fileName()},
                environment);
        if (!daemon_->waitForReadyRead(30000))
            qFatal("no bus");
        address_ = QString::fromUtf8(daemon_->readAllStandardOutput().trimmed());
    }
    ~PrivateBus() { QDBusConnection::disconnectFromBus(address_); }

    const QString& address() const { return address_; }
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

    /// Starts a program that finds this bus as session and as system bus; ends it with its owner.
    Program start(const QString& program, const QStringList& arguments, const QByteArray& input = {}) const {
        auto environment = QProcessEnvironment::systemEnvironment();
        for (const auto* name : {"DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"})
            environment.insert(name, address_);
        for (const auto* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_DATA_HOME"})
            environment.insert(name, folder_.path());
        environment.remove("DISPLAY");
        Program process = run(program, arguments, environment);
        process->write(input);
        process->closeWriteChannel();
        return process;
    }

private:
    static Program run(const QString& program, const QStringList& arguments,
                       const QProcessEnvironment& environment) {
        Program process(new QProcess);
        process->setProcessEnvironment(environment);
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        process->start(program, arguments);
        return process;
    }

    const QTemporaryDir folder_;
    Program daemon_;
    QString address_;
};

#pragma once

#include <QDBusConnection>
#include <QProcess>
#include <QTemporaryDir>
#include <csignal>
#include <memory>
#include <sys/prctl.h>

/// A message bus of the test's own, on which nothing is started by itself, and programs that serve on it.
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
        daemon_.setChildProcessModifier(endWithTest);
        daemon_.start("dbus-daemon",
                      {"--nofork", "--print-address", "--config-file=" + configuration.fileName()});
        if (!daemon_.waitForReadyRead(10000))
            qFatal("no bus");
        address_ = QString::fromUtf8(daemon_.readAllStandardOutput().trimmed());
    }
    ~PrivateBus() {
        QDBusConnection::disconnectFromBus(address_);
        end(daemon_);
    }

    const QString& address() const { return address_; }
    QDBusConnection connection() const { return QDBusConnection::connectToBus(address_, address_); }

    /// Starts a program that finds this bus as session and as system bus; ends it with its owner.
    struct Stop {
        void operator()(QProcess* process) const {
            end(*process);
            delete process;
        }
    };
    using Program = std::unique_ptr<QProcess, Stop>;
    Program start(const QString& program, const QStringList& arguments, const QByteArray& input = {}) const {
        Program process(new QProcess);
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("DBUS_SYSTEM_BUS_ADDRESS", address_);
        environment.insert("DBUS_SESSION_BUS_ADDRESS", address_);
        environment.insert("HOME", folder_.path());
        environment.insert("XDG_RUNTIME_DIR", folder_.path());
        environment.insert("XDG_DATA_HOME", folder_.filePath("data"));
        environment.remove("DISPLAY");
        process->setProcessEnvironment(environment);
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process->setChildProcessModifier(endWithTest);
        process->start(program, arguments);
        process->write(input);
        process->closeWriteChannel();
        return process;
    }

private:
    /// Also when the test dies.
    static void endWithTest() { prctl(PR_SET_PDEATHSIG, SIGKILL); }
    static void end(QProcess& process) {
        process.kill();
        process.waitForFinished();
    }

    const QTemporaryDir folder_;
    QProcess daemon_;
    QString address_;
};

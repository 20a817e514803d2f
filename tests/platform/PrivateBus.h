#pragma once

#include "Program.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QTemporaryDir>

/// A message bus of the test's own. From here on it is this process's session and system bus, and its folder
/// the home.
class PrivateBus {
public:
    PrivateBus() {
        for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_DATA_HOME"})
            qputenv(name, folder_.path().toUtf8());
        for (const char* name : {"DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"})
            qputenv(name, address_.toUtf8());
    }
    ~PrivateBus() { QDBusConnection::disconnectFromBus(address_); }

    QDBusConnection connection() const { return QDBusConnection::connectToBus(address_, address_); }
    bool has(const QString& name) const { return connection().interface()->isServiceRegistered(name); }

private:
    const QTemporaryDir folder_;
    const Program daemon_ =
        startProgram("dbus-daemon", {"--nofork", "--print-address", "--address=unix:dir=" + folder_.path(),
                                     "--config-file=" BUS_CONFIGURATION});
    const QString address_ = firstLineOf(daemon_);
};

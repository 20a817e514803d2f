#pragma once

#include "tests/platform/Program.h"
#include "tests/support/Eventually.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QTemporaryDir>
#include <gtest/gtest.h>

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

private:
    const QTemporaryDir folder_;
    Program daemon_{"dbus-daemon --nofork --print-address --address=unix:dir=" + folder_.path() +
                    " --config-file=\"" BUS_CONFIGURATION "\""};
    const QString address_ = daemon_.firstLine();
};

/// A service on the bus, from start() to stop().
struct BusService {
    const PrivateBus& bus;
    const QString name, command;
    const QByteArray input = {};
    std::unique_ptr<Program> program = nullptr;

    bool isThere() const { return bus.connection().interface()->isServiceRegistered(name); }
    void start() {
        program = std::make_unique<Program>(command, input);
        ASSERT_TRUE(eventually([this] { return isThere(); }));
    }
    void stop() {
        program.reset();
        ASSERT_TRUE(eventually([this] { return !isThere(); }));
    }
    /// Calls the object that has its path from the service's name.
    QDBusMessage call(const QString& interface, const QString& method, const QVariantList& arguments = {}) const {
        const QString path = '/' + QString(name).replace('.', '/');
        QDBusMessage message = QDBusMessage::createMethodCall(name, path, interface, method);
        message.setArguments(arguments);
        return bus.connection().call(message);
    }
};

#include "LinuxPowerEvents.h"

#include "Eventually.h"
#include "LinuxPathMonitor.h"
#include "PrivateBus.h"
#include "QtExecutor.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <csignal>
#include <gtest/gtest.h>

namespace {

/// A service played by a mock.
struct Mock {
    const PrivateBus& bus;
    QString name;
    QString path;
    QString templateName;
    PrivateBus::Program process = nullptr;

    void start() {
        process = bus.start("/usr/bin/python3", {"-m", "dbusmock", "--system", "--template", templateName});
        ASSERT_TRUE(eventually([&] { return isThere(); }));
    }
    void stop() {
        process.reset();
        ASSERT_TRUE(eventually([&] { return !isThere(); }));
    }
    bool isThere() const { return bus.connection().interface()->isServiceRegistered(name); }

    QDBusMessage call(const QString& interface, const QString& method,
                      const QVariantList& arguments = {}) const {
        QDBusMessage message = QDBusMessage::createMethodCall(name, path, interface, method);
        message.setArguments(arguments);
        return bus.connection().call(message);
    }
};

struct LogindTest : testing::Test {
    const PrivateBus bus;
    Mock logind{bus, "org.freedesktop.login1", "/org/freedesktop/login1", "logind"};
    MainExecutor main;
    LinuxPowerEvents power{main, bus.connection()};
    QStringList happened;

    void start() {
        PowerEvents::Handlers handlers;
        handlers.willSleep = [this] {
            happened += "sleep";
            main.post([this] { happened += QString("saved, %1 waiting").arg(inhibitors().size()); });
        };
        handlers.didWake = [this] { happened += "wake"; };
        handlers.willTerminate = [this] { happened += "terminate"; };
        power.start(handlers);
    }

    /// What holds the machine back, as "what mode".
    QStringList inhibitors() const {
        QStringList held;
        const auto list = logind.call("org.freedesktop.login1.Manager", "ListInhibitors").arguments();
        if (list.isEmpty())
            return held;
        const auto argument = list.first().value<QDBusArgument>();
        for (argument.beginArray(); !argument.atEnd();) {
            QString what, who, why, mode;
            uint user = 0, process = 0;
            argument.beginStructure();
            argument >> what >> who >> why >> mode >> user >> process;
            argument.endStructure();
            held += what + " " + mode;
        }
        return held;
    }
    bool isHeld() {
        return eventually([&] { return inhibitors() == QStringList{"sleep:shutdown delay"}; });
    }
    void announce(const QString& signal, bool begins) const {
        logind.call("org.freedesktop.DBus.Mock", "EmitSignal",
                    {"org.freedesktop.login1.Manager", signal, "b", QVariantList{begins}});
    }
};

TEST_F(LogindTest, TheMachineWaitsForTheSleepHandlerAndWhatItPosted) {
    logind.start();
    start();
    for (int night = 0; night < 10; ++night) {
        happened.clear();
        ASSERT_TRUE(isHeld());
        announce("PrepareForSleep", true);
        ASSERT_TRUE(eventually([&] { return inhibitors().isEmpty(); }));
        EXPECT_EQ(happened, QStringList({"sleep", "saved, 1 waiting"}));
        announce("PrepareForSleep", false);
        EXPECT_TRUE(eventually([&] { return happened.size() == 3; }));
        EXPECT_EQ(happened.last(), "wake");
    }
}

TEST_F(LogindTest, ALogindThatComesLaterOrAgainIsTakenUp) {
    start();
    for (int life = 0; life < 2; ++life) {
        logind.start();
        ASSERT_TRUE(isHeld());
        happened.clear();
        announce("PrepareForSleep", true);
        EXPECT_TRUE(eventually([&] { return happened.size() == 2; }));
        announce("PrepareForSleep", false);
        EXPECT_TRUE(eventually([&] { return happened.size() == 3; }));
        logind.stop();
    }
}

TEST_F(LogindTest, AShutdownTerminatesOnceAndLetsTheMachineGo) {
    logind.start();
    start();
    ASSERT_TRUE(isHeld());
    announce("PrepareForShutdown", false);
    announce("PrepareForShutdown", true);
    ASSERT_TRUE(eventually([&] { return inhibitors().isEmpty(); }));
    power.sessionIsEnding();
    EXPECT_EQ(happened, QStringList{"terminate"});
}

TEST(TerminationTest, EachSignalRunsTheHandlerOnceAndThenEndsTheProcess) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(signal);
        QProcess child;
        child.start(PLATFORM_CHILD, QStringList());
        QByteArray said;
        EXPECT_TRUE(eventually([&] {
            said += child.readAllStandardOutput();
            return said == "ready\n";
        })) << said.constData();
        kill(static_cast<pid_t>(child.processId()), signal);
        kill(static_cast<pid_t>(child.processId()), signal);
        EXPECT_TRUE(child.waitForFinished());
        EXPECT_EQ(child.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(child.exitCode(), 0);
        EXPECT_EQ(child.readAllStandardOutput(), "terminating\nended\n");
    }
}

TEST(NetworkManagerTest, TheAnswerFollowsTheServiceAndItsState) {
    const PrivateBus bus;
    Mock manager{bus, "org.freedesktop.NetworkManager", "/org/freedesktop/NetworkManager", "networkmanager"};
    LinuxPathMonitor monitor(bus.connection());
    std::vector<bool> updates;
    const auto becomes = [&](const std::vector<bool>& wanted) {
        const bool reached = eventually([&] { return updates.size() >= wanted.size(); });
        return reached && updates == wanted;
    };
    monitor.start([&](bool online) { updates.push_back(online); });
    EXPECT_TRUE(becomes({true})) << "without the service";
    manager.start();
    const auto set = [&](uint state) {
        manager.call("org.freedesktop.DBus.Mock", "SetGlobalConnectionState", {state});
    };
    set(20);
    EXPECT_TRUE(becomes({true, false}));
    set(50);
    set(40);
    set(60);
    set(70);
    EXPECT_TRUE(becomes({true, false, true}));
    set(50);
    EXPECT_TRUE(becomes({true, false, true, false}));
    manager.stop();
    EXPECT_TRUE(becomes({true, false, true, false, true}));
}

} // namespace

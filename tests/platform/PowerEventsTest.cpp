#include "LinuxPowerEvents.h"

#include "Eventually.h"
#include "LinuxPathMonitor.h"
#include "PrivateBus.h"
#include "QtExecutor.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <gtest/gtest.h>

namespace {

/// A system service played by a mock.
struct Mock {
    const PrivateBus& bus;
    const QString name, path, templateName;
    PrivateBus::Program process = nullptr;

    void start() {
        process = bus.start("/usr/bin/python3", {"-m", "dbusmock", "--system", "--template", templateName});
        ASSERT_TRUE(eventually([&] { return bus.has(name); }));
    }
    void stop() {
        process.reset();
        ASSERT_TRUE(eventually([&] { return !bus.has(name); }));
    }
    QVariantList call(const QString& interface, const QString& method,
                      const QVariantList& arguments = {}) const {
        QDBusMessage message = QDBusMessage::createMethodCall(name, path, interface, method);
        message.setArguments(arguments);
        return bus.connection().call(message).arguments();
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
            main.post([this] { happened += inhibitors(); });
        };
        handlers.didWake = [this] { happened += "wake"; };
        handlers.willTerminate = [this] { happened += "terminate"; };
        power.start(handlers);
    }
    /// What holds the machine back, as "what mode".
    QStringList inhibitors() const {
        QStringList held;
        const auto list = logind.call("org.freedesktop.login1.Manager", "ListInhibitors");
        if (list.isEmpty())
            return held;
        const auto rows = list.first().value<QDBusArgument>();
        for (rows.beginArray(); !rows.atEnd(); rows.endStructure()) {
            QString what, who, why, mode;
            rows.beginStructure();
            rows >> what >> who >> why >> mode;
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

TEST_F(LogindTest, TheMachineWaitsForTheSleepHandlerAndWhatItPostedAlsoWithALogindThatComesLaterOrAgain) {
    start();
    for (int life = 0; life < 2; ++life) {
        logind.start();
        for (int night = 0; night < 5; ++night) {
            happened.clear();
            ASSERT_TRUE(isHeld());
            announce("PrepareForSleep", true);
            ASSERT_TRUE(eventually([&] { return inhibitors().isEmpty(); }));
            announce("PrepareForSleep", false);
            EXPECT_TRUE(eventually([&] { return happened.contains("wake"); }));
            EXPECT_EQ(happened, QStringList({"sleep", "sleep:shutdown delay", "wake"}));
        }
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

TEST(TerminationTest, EachWayOutRunsTheHandlerOnceAndThenEndsTheProcess) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, 0}) {
        SCOPED_TRACE(signal);
        QProcess child;
        child.start(PLATFORM_CHILD, {signal ? "wait" : "exit"});
        QByteArray said;
        ASSERT_TRUE(
            eventually([&] { return (said += child.readAllStandardOutput()).startsWith("ready\n"); }));
        // Two at once, since the process goes on when both are there.
        if (signal)
            for (const int each : {SIGSTOP, signal, SIGTERM, SIGCONT})
                kill(static_cast<pid_t>(child.processId()), each);
        EXPECT_TRUE(child.state() == QProcess::NotRunning || child.waitForFinished());
        EXPECT_EQ(child.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(child.exitCode(), signal ? 0 : 3);
        said += child.readAllStandardOutput();
        EXPECT_EQ(said, signal ? "ready\nterminating\nended\n" : "ready\nterminating\n");
    }
}

TEST(NetworkManagerTest, TheAnswerFollowsTheServiceAndItsState) {
    const PrivateBus bus;
    Mock manager{bus, "org.freedesktop.NetworkManager", "/org/freedesktop/NetworkManager", "networkmanager"};
    LinuxPathMonitor monitor(bus.connection());
    std::vector<bool> updates;
    monitor.start([&](bool online) { updates.push_back(online); });
    EXPECT_TRUE(eventually([&] { return updates == std::vector{true}; })) << "without the service";
    manager.start();
    for (const auto& [state, online] :
         {std::pair(20U, false), {50U, false}, {40U, false}, {60U, true}, {70U, true}, {50U, false}}) {
        manager.call("org.freedesktop.DBus.Mock", "SetGlobalConnectionState", {state});
        EXPECT_TRUE(eventually([&] { return updates.back() == online; })) << state;
    }
    EXPECT_EQ(updates, std::vector({true, false, true, false})) << "each change is told once";
    manager.stop();
    EXPECT_TRUE(eventually([&] { return updates.back(); }));
}

} // namespace

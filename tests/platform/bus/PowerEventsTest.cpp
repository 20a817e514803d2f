#include "platform/linux/bus/LinuxPowerEvents.h"

#include "PrivateBus.h"
#include "platform/linux/base/QtExecutor.h"
#include "platform/linux/network/LinuxPathMonitor.h"

#include <QDebug>

namespace {

/// A system service's part is played by its template.
const QString mock = "/usr/bin/python3 -m dbusmock --system --template ";

struct LogindTest : testing::Test {
    const PrivateBus bus;
    BusService logind{bus, "org.freedesktop.login1", mock + "logind"};
    MainExecutor main;
    std::chrono::seconds asleep{7};
    LinuxPowerEvents power{main, bus.connection(), [this] { return asleep; }};
    QStringList happened;

    void start() {
        const auto sleep = [this] {
            happened += "sleep";
            main.post([this] { happened += isHeld() ? "saved" : "too late"; });
        };
        power.start({sleep, [this] { happened += "wake"; }, [this] { happened += "terminate"; }});
    }
    bool isHeld() const {
        const QString text = QDebug::toString(logind.call("org.freedesktop.login1.Manager", "ListInhibitors"));
        return text.contains("\"sleep:shutdown\"") && text.contains("\"delay\"");
    }
    bool becomesHeld(bool held) const {
        return eventually([&] { return isHeld() == held; });
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
        happened.clear();
        ASSERT_TRUE(becomesHeld(true));
        announce("PrepareForSleep", true);
        ASSERT_TRUE(becomesHeld(false));
        announce("PrepareForSleep", false);
        EXPECT_TRUE(eventually([&] { return happened.contains("wake"); }));
        EXPECT_EQ(happened, QStringList({"sleep", "saved", "wake"}));
        logind.stop();
    }
}

TEST_F(LogindTest, ASleepThatNobodyAnnouncedIsToldWhenItIsOver) {
    start();
    power.lookForSleep(); // the clock was set
    asleep += std::chrono::hours(1);
    power.lookForSleep();
    power.lookForSleep();
    EXPECT_EQ(happened, QStringList{"wake"});
    logind.start(); // whose word of the wake may be the first
    ASSERT_TRUE(becomesHeld(true));
    asleep += std::chrono::minutes(1);
    happened.clear();
    announce("PrepareForSleep", false);
    EXPECT_TRUE(eventually([&] { return happened == QStringList{"wake"}; }));
    power.lookForSleep();
    EXPECT_EQ(happened.count("wake"), 1);
}

TEST_F(LogindTest, AShutdownTerminatesOnceAndLetsTheMachineGo) {
    logind.start();
    start();
    ASSERT_TRUE(becomesHeld(true));
    announce("PrepareForShutdown", true);
    ASSERT_TRUE(becomesHeld(false));
    power.sessionIsEnding();
    EXPECT_EQ(happened, QStringList{"terminate"});
}

TEST(TerminationDeathTest, AnExitFromALibraryRunsTheHandlerToo) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto exitFromALibrary = [] { // as Qt does when the X server is gone
        MainExecutor main;
        LinuxPowerEvents power(main, QDBusConnection("no such bus"));
        power.start({{}, {}, [] { std::fputs("saved\n", stderr); }});
        for (const int harmless : {SIGPIPE, SIGXFSZ}) // a broken pipe, and a file that grew too large
            std::raise(harmless);
        std::exit(3);
    };
    EXPECT_EXIT(exitFromALibrary(), testing::ExitedWithCode(3), testing::Eq("saved\n"));
}

TEST(NetworkManagerTest, TheAnswerFollowsTheServiceAndItsState) {
    const PrivateBus bus;
    BusService manager{bus, "org.freedesktop.NetworkManager", mock + "networkmanager"};
    LinuxPathMonitor monitor(bus.connection());
    std::vector<bool> updates;
    monitor.start([&](bool online) { updates.push_back(online); });
    EXPECT_TRUE(eventually([&] { return updates == std::vector{true}; })) << "without the service";
    manager.start();
    for (const auto& [state, online] : {std::pair(20U, false), {50U, false}, {60U, true}, {70U, true}, {50U, false}}) {
        manager.call("org.freedesktop.DBus.Mock", "SetGlobalConnectionState", {state});
        EXPECT_TRUE(eventually([&] { return updates.back() == online; })) << state;
    }
    manager.stop();
    EXPECT_TRUE(eventually([&] { return updates.back(); }));
}

} // namespace

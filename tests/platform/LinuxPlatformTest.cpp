#include "LinuxPlatform.h"

#include "Eventually.h"
#include "LoopbackServer.h"
#include "SimulatedPlatform.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <future>
#include <gtest/gtest.h>
#include <set>

namespace {

QStringList threadNames() {
    QStringList names;
    for (const QString& task : QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile name("/proc/self/task/" + task + "/comm");
        if (name.open(QIODevice::ReadOnly))
            names += QString::fromUtf8(name.readAll().trimmed());
    }
    return names;
}

TEST(LinuxPlatformTest, EachServiceIsInItsPlaceAndAllEndsInOrder) {
    const QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.filePath("config").toUtf8());
    qputenv("XDG_DATA_HOME", home.filePath("data").toUtf8());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent");
    const LoopbackServer silent([](LoopbackServer::Connection& connection) { connection.waitForClose(); });
    SimulatedDesktop desktop;
    LinuxPlatform owner;
    const Platform platform = owner.platform(desktop);

    EXPECT_EQ(&Executor::current(), &platform.main);
    const QStringList labels{"worker", "screencapture", "utility", "watchdog", "userinitiated"};
    for (const QString& label : labels)
        EXPECT_FALSE(threadNames().contains(label)) << "threads cost nothing before their first use";
    std::vector<Executor*> executors{&platform.worker, &platform.screenCapture, &platform.utility,
                                     &platform.watchdog, &platform.userInitiated};
    for (qsizetype i = 0; i < labels.size(); ++i) {
        executors[i]->sync([] {});
        EXPECT_TRUE(threadNames().contains(labels[i]));
    }

    platform.preferences.set("key", "value");
    EXPECT_TRUE(QFileInfo::exists(home.filePath("config/velmora-timetracker/preferences.json")));
    EXPECT_EQ(platform.information.applicationSupportDirectory(), home.filePath("data"));
    EXPECT_EQ(platform.information.information("CFBundleName"), "Velmora TimeTracker");
    EXPECT_TRUE(platform.information.information("CFBundleShortVersionString"));
    EXPECT_EQ(platform.information.information("unknown"), std::nullopt);
    EXPECT_LT(
        std::abs(platform.clock.now().secondsSince1970() - QDateTime::currentMSecsSinceEpoch() / 1000.0), 1);
    EXPECT_NE(platform.random.uuid(), platform.random.uuid());
    std::set<double> drawn;
    for (int i = 0; i < 100; ++i)
        drawn.insert(platform.random.uniform(60, 90));
    EXPECT_TRUE(*drawn.begin() >= 60 && *drawn.rbegin() < 90 && drawn.size() > 90);

    std::optional<bool> online;
    int terminations = 0;
    platform.path.start([&](bool value) { online = value; });
    PowerEvents::Handlers handlers;
    handlers.willTerminate = [&] { ++terminations; };
    platform.power.start(handlers);
    EXPECT_TRUE(eventually([&] { return online == true; })) << "no bus: always online";
    owner.sessionIsEnding();
    EXPECT_EQ(terminations, 1);

    std::promise<bool> cancelled;
    URLRequest request;
    request.url = silent.url();
    platform.urlSession.send(request, [&](const URLSession::Result& result) {
        const auto* error = std::get_if<URLError>(&result);
        cancelled.set_value(error && error->code() == URLError::Code::cancelled);
    });
    owner.stop();
    EXPECT_TRUE(cancelled.get_future().get());
    for (const QString& label : labels)
        EXPECT_TRUE(eventually([&] { return !threadNames().contains(label); }));
}

} // namespace

// The end of the program on the real platform.

#include "ApplicationFolder.h"
#include "DatabaseProbe.h"
#include "Eventually.h"
#include "LinuxPlatform.h"
#include "LoopbackServer.h"
#include "SimulatedPlatform.h"
#include "TimeTrackerCore.h"

#include <QTemporaryDir>

namespace {

/// A home of its own, without a display, a keyring and other services.
struct LonelyHome {
    const QTemporaryDir folder{fastTemporaryFolder()};
    LonelyHome() {
        for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"})
            qputenv(name, folder.path().toUtf8());
        for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"})
            qputenv(name, "unix:path=/nowhere");
        qunsetenv("DISPLAY");
    }
};

} // namespace

TEST(Stop, AnUploadThatItCutsOffIsNoneThatFailed) {
    const LonelyHome home;
    bool arrived = false;
    const LoopbackServer server([&](QTcpSocket&, const QByteArray&) { arrived = true; }); // and says nothing
    LinuxPlatform machine;
    SimulatedDesktop desktop;
    const Platform platform = machine.platform(desktop);
    DomainStorage domain(platform.preferences);
    domain.setBaseURL(server.url("/api/v1/"));
    SQLiteStore store(ApplicationFolder::path(platform.information), domain, platform.clock, platform.random);
    store.enqueueUploadTask({.id = platform.random.uuid(),
                             .sessionId = platform.random.uuid(),
                             .type = UploadTaskType::heartbeat,
                             .filePath = {},
                             .jsonPayload = "{}",
                             .createdAt = platform.clock.now(),
                             .priority = 1});
    const TimeTrackerCore core(platform);
    ASSERT_TRUE(eventually([&] { return arrived; }));
    machine.stop();
    EXPECT_EQ(
        querySQLite(core.folder + "/timetracker.sqlite", "SELECT status, retry_count FROM upload_queue"),
        QStringList("inProgress|0"));
}

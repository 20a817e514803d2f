#include "PermissionService.h"

#include "LogCapture.h"
#include "SimulatedDisplays.h"

#include <QLoggingCategory>
#include <gtest/gtest.h>

TEST(Permissions, inputMonitoringIsAskedForOnceInALaunch) {
    QLoggingCategory::setFilterRules("com.velmora.timetracker.permissions.debug=true");
    SimulatedPermissions system;
    PermissionService service(system);
    const LogCapture log;
    EXPECT_TRUE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_EQ(system.requests, 0);
    system.inputMonitoring = 1;
    EXPECT_FALSE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_FALSE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_EQ(system.requests, 1);
    system.inputMonitoring = 7;
    EXPECT_FALSE(service.hasInputMonitoringPermission());
    EXPECT_EQ(log.lines(QtDebugMsg),
              QStringList({"IOHIDCheckAccess(ListenEvent) = Granted",
                           "IOHIDCheckAccess(ListenEvent) = Denied", "IOHIDCheckAccess(ListenEvent) = Denied",
                           "IOHIDRequestAccess: skipped (already prompted this launch)",
                           "IOHIDCheckAccess(ListenEvent) = Unknown(rawValue: 7)"}));
    EXPECT_EQ(log.lines(QtInfoMsg), QStringList("IOHIDRequestAccess(ListenEvent) = denied"));
    QLoggingCategory::setFilterRules({});

    system.grantsOnRequest = true;
    PermissionService nextLaunch(system);
    EXPECT_TRUE(nextLaunch.requestInputMonitoringPermissionIfNeeded());
    EXPECT_TRUE(log.contains("IOHIDRequestAccess(ListenEvent) = granted"));
}

TEST(Permissions, bothAreRequiredAndScreenRecordingComesFirst) {
    class Counting : public SimulatedPermissions {
    public:
        int inputQueries = 0;
        int inputMonitoringStatus() override {
            ++inputQueries;
            return SimulatedPermissions::inputMonitoringStatus();
        }
    } system;
    PermissionService service(system);
    EXPECT_TRUE(service.hasRequiredPermissions());
    system.inputMonitoring = 2;
    EXPECT_FALSE(service.hasRequiredPermissions());
    system.screenRecording = false;
    EXPECT_FALSE(service.hasRequiredPermissions());
    EXPECT_EQ(system.inputQueries, 2);
    service.openInputMonitoringSettings();
    service.openScreenRecordingSettings();
    service.revokePermissions();
    EXPECT_EQ(system.settingsOpened, 2);
    EXPECT_EQ(system.resets, 1);
}

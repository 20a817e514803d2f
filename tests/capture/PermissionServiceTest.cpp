#include "PermissionService.h"

#include "LogCapture.h"
#include "SimulatedDisplays.h"

#include <QLoggingCategory>
#include <gtest/gtest.h>

TEST(Permissions, bothAreRequiredAndInputMonitoringIsAskedForOnceInALaunch) {
    QLoggingCategory::setFilterRules("com.velmora.timetracker.permissions.debug=true");
    SimulatedPermissions system;
    PermissionService service(system);
    PermissionService nextLaunch(system);
    const LogCapture log;
    EXPECT_TRUE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_EQ(system.requests, 0);
    EXPECT_TRUE(service.hasRequiredPermissions());
    system.inputMonitoring = 1;
    EXPECT_FALSE(service.hasRequiredPermissions());
    EXPECT_FALSE(service.requestInputMonitoringPermissionIfNeeded());
    system.inputMonitoring = 7;
    EXPECT_FALSE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_EQ(system.requests, 1);
    system.grantsOnRequest = true;
    EXPECT_TRUE(nextLaunch.requestInputMonitoringPermissionIfNeeded());
    system.inputMonitoring = 0;
    system.screenRecording = false;
    EXPECT_FALSE(service.hasRequiredPermissions()); // with no second question
    QLoggingCategory::setFilterRules({});
    EXPECT_EQ(log.lines().join(' ').remove("IOHIDCheckAccess(ListenEvent) = "),
              "Granted Granted Denied Denied IOHIDRequestAccess(ListenEvent) = denied Unknown(rawValue: 7) "
              "IOHIDRequestAccess: skipped (already prompted this launch) Unknown(rawValue: 7) "
              "IOHIDRequestAccess(ListenEvent) = granted");
}

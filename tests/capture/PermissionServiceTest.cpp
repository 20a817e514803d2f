#include "PermissionService.h"

#include "SimulatedDisplays.h"

#include <gtest/gtest.h>

TEST(Permissions, bothAreRequiredAndInputMonitoringIsAskedForOnceInALaunch) {
    SimulatedPermissions system;
    PermissionService service(system);
    EXPECT_TRUE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_EQ(system.requests, 0);
    EXPECT_TRUE(service.hasRequiredPermissions());
    system.inputMonitoring = 7; // neither granted nor denied
    EXPECT_FALSE(service.hasRequiredPermissions());
    EXPECT_FALSE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_FALSE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_EQ(system.requests, 1);
    system.inputMonitoring = 0;
    system.screenRecording = false;
    EXPECT_FALSE(service.hasRequiredPermissions());
}

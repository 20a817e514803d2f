#include "capture/PermissionService.h"

#include "platform/simulated/SimulatedDisplays.h"

#include <gtest/gtest.h>

TEST(PermissionService, InputMonitoringIsAskedForOnceInALaunch) {
    SimulatedPermissions system;
    PermissionService service(system);
    EXPECT_TRUE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_EQ(system.requests, 0);
    system.inputMonitoring = 7; // neither granted nor denied
    EXPECT_FALSE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_FALSE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_EQ(system.requests, 1);
}

#include "capture/CaptureGeometry.h"
#include "capture/PermissionService.h"
#include "capture/SingleFrameCollector.h"
#include "platform/simulated/SimulatedDisplays.h"
#include "platform/simulated/Timeline.h"

#include <gtest/gtest.h>

TEST(CaptureGeometry, capsTheLongerSideOfTheNativeSizeWhoseScaleIsBelievedFromOneToThree) {
    const std::pair<QSize, QSize> cases[] = {
        {{1920, 1080}, {1920, 1080}}, {{1921, 1080}, {1920, 1079}}, {{1080, 2160}, {960, 1920}},
        {{3840, 3}, {1920, 2}},       {{5120, 1}, {1920, 1}},       {{0, 500}, {1, 500}},
    };
    for (const auto& [native, capped] : cases)
        EXPECT_EQ(CaptureGeometry::cappedPixelSize(native.width(), native.height(), 1920), capped);
    EXPECT_EQ(CaptureGeometry::nativePixelSize({1, {1367, 771}, 1}, 1.5), QSize(2051, 1157));
    const std::pair<double, double> scales[] = {{1, 1}, {1.5, 1.5}, {3, 3}, {3.001, 1}, {0.999, 1}, {NAN, 1}};
    for (const auto& [told, believed] : scales)
        EXPECT_EQ(CaptureGeometry::pixelScale({1, {10, 10}, told}), believed) << told;
}

TEST(SingleFrameCollector, resumesOnceWithTheFirstCompleteFrameOrNothing) {
    const auto frame = [](char pixel) { return RawImage{{1, 1}, QByteArray(4, pixel)}; };
    // When the first frame comes: before the wait, within it, at its very end, or too late.
    for (const auto& [at, expected] : {std::pair{-1.0, "a"}, {0.0, "a"}, {4.9, "a"}, {5.1, "-"}}) {
        Timeline timeline;
        SimulatedExecutor executor(timeline, true);
        const auto collector = std::make_shared<SingleFrameCollector>();
        QByteArray got;
        collector->receive({false, 0, frame('s')});
        collector->receive({true, 1, frame('i')});
        collector->receive({true, 0, {}});
        if (at < 0)
            collector->receive({true, 0, frame('a')});
        const auto wait = [&]() -> Task<> {
            const auto image = co_await collector->waitForFrame(5);
            got += image ? image->bgrx.at(0) : '-';
        };
        const auto waiting = wait();
        timeline.advance(std::max(at, 0.0));
        for (const char pixel : {'a', 'b'})
            collector->receive({true, 0, frame(pixel)});
        timeline.advance(10);
        EXPECT_EQ(got, expected) << at;
    }
}

TEST(Permissions, InputMonitoringIsAskedForOnceInALaunch) {
    SimulatedPermissions system;
    PermissionService service(system);
    EXPECT_TRUE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_EQ(system.requests, 0);
    system.inputMonitoring = 7; // neither granted nor denied
    EXPECT_FALSE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_FALSE(service.requestInputMonitoringPermissionIfNeeded());
    EXPECT_EQ(system.requests, 1);
}

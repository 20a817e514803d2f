#include "platform/StreamedDisplaySource.h"

#include "platform/SingleFrameCollector.h"
#include "platform/simulated/Timeline.h"

#include <cmath>
#include <gtest/gtest.h>

TEST(StreamedDisplaySource, AcceptsADensityFromOneToThree) {
    const std::pair<double, double> scales[] = {{1, 1}, {1.5, 1.5}, {3, 3}, {3.001, 1}, {0.999, 1}, {NAN, 1}};
    for (const auto& [stated, accepted] : scales)
        EXPECT_EQ(pixelScale({1, {10, 10}, stated}), accepted) << stated;
}

TEST(SingleFrameCollector, ResumesOnceWithTheFirstCompleteFrameOrNothing) {
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

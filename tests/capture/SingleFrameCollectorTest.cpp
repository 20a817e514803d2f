#include "SingleFrameCollector.h"

#include "Timeline.h"

#include <gtest/gtest.h>

TEST(SingleFrameCollector, resumesOnceWithTheFirstCompleteFrameOrNothing) {
    const auto frame = [](char pixel) {
        return StreamSample{true, 0, RawImage{{1, 1}, QByteArray(4, pixel)}};
    };
    // When the first frame comes: before the wait, within it, at its very end, or too late.
    for (const auto& [at, expected] : {std::pair{-1.0, "a"}, {0.0, "a"}, {4.9, "a"}, {5.1, "-"}}) {
        Timeline timeline;
        SimulatedExecutor executor(timeline, true);
        const auto collector = std::make_shared<SingleFrameCollector>();
        QByteArray got;
        for (StreamSample useless :
             {StreamSample{false, 0, frame('s').image}, {true, 1, frame('i').image}, {true, 0, {}}})
            collector->receive(useless);
        if (at < 0)
            collector->receive(frame('a'));
        const auto wait = [&]() -> Task<> {
            const auto image = co_await collector->waitForFrame(5);
            got += image ? image->bgrx.at(0) : '-';
        };
        const auto waiting = wait();
        timeline.advance(std::max(at, 0.0));
        for (const char pixel : {'a', 'b'})
            collector->receive(frame(pixel));
        timeline.advance(10);
        EXPECT_EQ(got, expected) << at;
    }
}

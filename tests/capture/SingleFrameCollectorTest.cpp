#include "SingleFrameCollector.h"

#include "Timeline.h"

#include <gtest/gtest.h>

TEST(SingleFrameCollector, resumesOnceWithTheFirstCompleteFrameOrNothing) {
    const auto image = [](char pixel) { return RawImage{{1, 1}, QByteArray(4, pixel)}; };
    // A small letter is a frame, "?" every kind of useless sample, "W" the wait, a digit so many seconds.
    const std::pair<const char*, const char*> cases[] = {
        {"abW", "b"},   {"abWc9", "b"}, {"??W??4", ""}, {"?W?4xy0", "x"},
        {"Wx9y9", "x"}, {"W4", ""},     {"W5", "-"},    {"W5x9", "-"},
    };
    for (const auto& [script, expected] : cases) {
        Timeline timeline;
        SimulatedExecutor executor(timeline, true);
        const auto collector = std::make_shared<SingleFrameCollector>();
        QByteArray got;
        const auto wait = [&]() -> Task<> {
            const auto frame = co_await collector->waitForFrame(5);
            got += frame ? frame->bgrx.at(0) : '-';
        };
        std::optional<Task<>> waiting;
        for (const char step : QByteArray(script)) {
            if (step == 'W')
                waiting = wait();
            else if (step >= '0' && step <= '9')
                timeline.advance(step - '0');
            else if (step != '?')
                collector->receive({true, 0, image(step)});
            else
                for (const StreamSample& useless : {StreamSample{false, 0, image('s')},
                                                    {true, {}, image('u')},
                                                    {true, 1, image('i')},
                                                    {true, 0, {}}})
                    collector->receive(useless);
        }
        EXPECT_EQ(got, expected) << script;
    }
}

TEST(SingleFrameCollector, frameAndTimeOutAtTheSameMomentResumeOnce) {
    Timeline timeline;
    SimulatedExecutor executor(timeline, true);
    const auto collector = std::make_shared<SingleFrameCollector>();
    const auto tie = executor.after(5, [&] { collector->receive({true, 0, RawImage{}}); });
    const auto waiting = collector->waitForFrame(5);
    timeline.advance(60);
    EXPECT_TRUE(waiting.isReady());
}

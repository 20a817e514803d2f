#include "SingleFrameCollector.h"

#include "Timeline.h"

#include <gtest/gtest.h>

TEST(SingleFrameCollector, resumesOnceWithTheFirstCompleteFrameOrNothing) {
    const auto image = [](char pixel) { return RawImage{{1, 1}, QByteArray(4, pixel)}; };
    const StreamSample useless[] = {
        {false, 0, image('s')}, {true, {}, image('u')}, {true, 1, image('i')}, {true, 0, {}}};
    // A small letter is a frame, "?" every useless sample, "W" the wait, "T" a frame five seconds later, a
    // digit so many seconds. Expected are the frames that resumed the waiter, "-" for none.
    const std::pair<const char*, const char*> cases[] = {{"abW", "b"},     {"abWc9", "b"}, {"??W??4", ""},
                                                         {"?W?4xy0", "x"}, {"Wx9y9", "x"}, {"W4", ""},
                                                         {"W5", "-"},      {"W5x9", "-"},  {"TW5", "t"}};
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
        std::unique_ptr<Executor::Timer> timer;
        for (const char step : QByteArray(script)) {
            if (step == 'W')
                waiting = wait();
            else if (step == 'T')
                timer = executor.after(5, [&] { collector->receive({true, 0, image('t')}); });
            else if (step == '?')
                std::ranges::for_each(useless,
                                      [&](const StreamSample& sample) { collector->receive(sample); });
            else if (step <= '9')
                timeline.advance(step - '0');
            else
                collector->receive({true, 0, image(step)});
        }
        EXPECT_EQ(got, expected) << script;
    }
}

#include "SingleFrameCollector.h"

#include "Timeline.h"

#include <gtest/gtest.h>

namespace {

struct Collector : testing::Test {
    Timeline timeline;
    SimulatedExecutor executor{timeline, true};
    std::shared_ptr<SingleFrameCollector> collector = std::make_shared<SingleFrameCollector>();
    int resumed = 0;
    std::optional<RawImage> got;

    static StreamSample frame(char pixel) { return {true, 0, RawImage{{1, 1}, QByteArray(4, pixel)}}; }
    void wait(Seconds timeout = 5) {
        spawn(
            [](Collector& test, Seconds limit) -> Task<> {
                test.got = co_await test.collector->waitForFrame(limit);
                ++test.resumed;
            }(*this, timeout),
            "test");
    }
    char pixel() const { return got ? got->bgrx.at(0) : ' '; }
};

} // namespace

TEST_F(Collector, aFrameThatCameBeforeTheWaitIsGivenAtOnce) {
    collector->receive(frame('a'));
    collector->receive(frame('b'));
    wait();
    EXPECT_EQ(resumed, 1);
    EXPECT_EQ(pixel(), 'b');
    collector->receive(frame('c'));
    timeline.advance(60);
    EXPECT_EQ(resumed, 1);
}

TEST_F(Collector, onlyACompleteScreenFrameEndsTheWait) {
    StreamSample sound = frame('s');
    sound.isScreen = false;
    StreamSample unknown = frame('u');
    unknown.frameStatus.reset();
    StreamSample incomplete = frame('i');
    incomplete.frameStatus = 1;
    const StreamSample blank{true, 0, {}};
    const std::vector<StreamSample> ignored{sound, unknown, incomplete, blank};
    for (const StreamSample& sample : ignored)
        collector->receive(sample);
    wait();
    for (const StreamSample& sample : ignored)
        collector->receive(sample);
    timeline.advance(4.9);
    EXPECT_EQ(resumed, 0);
    collector->receive(frame('x'));
    collector->receive(frame('y'));
    timeline.settle();
    EXPECT_EQ(resumed, 1);
    EXPECT_EQ(pixel(), 'x');
    timeline.advance(60);
    EXPECT_EQ(resumed, 1);
}

TEST_F(Collector, theTimeOutGivesNothingAndALaterFrameIsDropped) {
    wait();
    timeline.advance(4.999);
    EXPECT_EQ(resumed, 0);
    timeline.advance(0.001);
    EXPECT_EQ(resumed, 1);
    EXPECT_FALSE(got);
    collector->receive(frame('x'));
    timeline.advance(60);
    EXPECT_EQ(resumed, 1);
}

TEST_F(Collector, frameAndTimeOutAtTheSameMomentResumeOnce) {
    const auto tie = executor.after(5, [this] { collector->receive(frame('x')); });
    wait();
    timeline.advance(60);
    EXPECT_EQ(resumed, 1);
    EXPECT_EQ(pixel(), 'x');
}

#include "platform/linux/x11/X11InputListener.h"

#include "X11TestClient.h"
#include "XvfbFixture.h"
#include "tests/support/Eventually.h"

#include <ctime>
#include <gmock/gmock.h>

using enum InputEventType;

namespace {

struct X11InputListenerTest : testing::Test {
    XvfbServer server;
    SessionEnvironment environment{server.display()};
    X11TestClient user{server.display()};
    X11InputListener listener;
};

} // namespace

TEST_F(X11InputListenerTest, DeliversEveryKeyMotionAndLeftOrRightDragAndNothingElse) {
    std::atomic<int> count = 0, others = 0;
    std::vector<InputEventType> events; // read when as many came as must
    auto other = listener.openTap([&](InputEventType) { ++others; });
    const auto tap = listener.openTap([&](InputEventType type) {
        events.push_back(type);
        ++count;
    });
    ASSERT_TRUE(tap);
    user.stroke(X11TestClient::keyShift);
    user.stroke();
    for (const uint8_t button : {1, 2, 3, 4, 5})
        user.click(button);
    user.move();
    for (const uint8_t button : {1, 3, 2})
        user.click(button, true);
    user.stroke();
    user.sync();
    ASSERT_TRUE(eventually([&] { return count >= 5; }));
    EXPECT_THAT(events, testing::ElementsAre(keyDown, mouseMoved, leftMouseDragged, rightMouseDragged, keyDown));
    other.reset();
    const int before = others;
    user.stroke();
    user.sync();
    EXPECT_TRUE(eventually([&] { return count == 6; }));
    EXPECT_EQ(others, before) << "none comes after a tap is gone";
    user.press();
    user.sync();
    EXPECT_TRUE(eventually([&] { return count >= 9; })) << "a key held down repeats";
}

TEST_F(X11InputListenerTest, KnowsIdleTimesOfMotionAndKeysApartWithoutATap) {
    const auto idle = [this](InputEventType type) { return listener.secondsSinceLast(type).value_or(-1); };
    EXPECT_GE(idle(mouseMoved), 0);
    EXPECT_TRUE(eventually([&] {
        user.move();
        user.sync();
        return idle(mouseMoved) < idle(keyDown) - 0.001;
    }));
    // Clicks and scrolling reset neither. The key behind them proves that they arrived.
    EXPECT_TRUE(eventually([&] { return idle(mouseMoved) > 0.2; }));
    const double before = idle(mouseMoved);
    for (const uint8_t button : {1, 4})
        user.click(button);
    user.stroke();
    user.sync();
    EXPECT_TRUE(eventually([&] { return idle(keyDown) < idle(mouseMoved); }));
    EXPECT_GT(idle(mouseMoved), before);
}

TEST_F(X11InputListenerTest, OutlivesTheServerAndComesBackWhenEnabled) {
    std::atomic<InputEventTap*> opened = nullptr;
    std::atomic<int> disabled = 0, counted = 0;
    const auto tap = listener.openTap([&](InputEventType type) {
        type == disabledByUserInput ? ++disabled : ++counted;
        if (type == disabledByUserInput)
            opened.load()->enable();
    });
    ASSERT_TRUE(tap);
    opened = tap.get();
    const auto cpuBefore = std::clock();
    server.kill();
    EXPECT_TRUE(eventually([&] { return disabled == 1; }));
    EXPECT_EQ(listener.secondsSinceLast(keyDown), std::nullopt);
    std::atomic<int> alsoCounted = 0;
    const auto waiting = listener.openTap([&](InputEventType) { ++alsoCounted; });

    QThread::sleep(1); // long enough for a spinning thread to show in the processor time

    const XvfbServer next;
    const SessionEnvironment nextEnvironment(next.display());
    X11TestClient nextUser(next.display());
    EXPECT_TRUE(eventually([&] {
        nextUser.stroke();
        nextUser.sync();
        QThread::msleep(20);
        return counted > 0 && alsoCounted > 0;
    }));
    EXPECT_EQ(disabled, 1) << "one loss, one notice";
    EXPECT_LT(double(std::clock() - cpuBefore) / CLOCKS_PER_SEC, 0.5) << "a dead server must not make us spin";
}

#include "X11InputListener.h"

#include "Eventually.h"
#include "X11Connection.h"
#include "X11TestClient.h"
#include "XvfbFixture.h"

#include <ctime>
#include <gmock/gmock.h>

using enum InputEventType;
using testing::ElementsAre;

namespace {

constexpr uint8_t keyA = X11TestClient::keyA, keyShift = X11TestClient::keyShift;

/// Keeps what a tap delivers.
class Collector {
public:
    InputEventSource::Handler handler() {
        return [this](InputEventType type) {
            const std::lock_guard guard(lock_);
            events_.push_back(type);
        };
    }
    std::vector<InputEventType> events() const {
        const std::lock_guard guard(lock_);
        return events_;
    }
    bool has(std::size_t count) const {
        return eventually([&] { return events().size() >= count; });
    }

private:
    mutable std::mutex lock_;
    std::vector<InputEventType> events_;
};

struct X11InputListenerTest : testing::Test {
    XvfbServer server;
    SessionEnvironment environment{server.display()};
    X11TestClient user{server.display()};
    X11InputListener listener;
    Collector collector;

    void click(uint8_t button, bool dragging = false) {
        user.buttonDown(button);
        if (dragging)
            user.move();
        user.buttonUp(button);
    }
};

} // namespace

TEST(WaylandSession, IsToldByEitherVariable) {
    for (const char* type : {"", "x11", "tty"})
        EXPECT_FALSE(isWaylandSession({}, type));
    EXPECT_TRUE(isWaylandSession("wayland-0", {}) && isWaylandSession({}, "wayland"));
    EXPECT_TRUE(isWaylandSession("wayland-1", "x11"));
}

TEST_F(X11InputListenerTest, DeliversEveryKeyMotionAndLeftOrRightDragAndNothingElse) {
    std::atomic<int> others = 0;
    auto other = listener.openTap([&](InputEventType) { ++others; });
    const auto tap = listener.openTap(collector.handler());
    ASSERT_TRUE(tap);
    user.stroke(keyShift);
    user.press(X11TestClient::keyControl);
    user.stroke(keyA);
    user.release(X11TestClient::keyControl);
    for (const uint8_t button : {1, 2, 3, 4, 5})
        click(button);
    user.move();
    for (const uint8_t button : {1, 3, 2})
        click(button, true);
    user.buttonDown(2);
    click(1, true);
    click(3, true);
    user.buttonUp(2);
    user.stroke(keyA);
    user.sync();
    ASSERT_TRUE(collector.has(7));
    EXPECT_THAT(collector.events(), ElementsAre(keyDown, mouseMoved, leftMouseDragged, rightMouseDragged,
                                                leftMouseDragged, rightMouseDragged, keyDown));
    other.reset();
    const int before = others; // none comes after a tap is gone
    for (int i = 0; i < 2000; ++i) {
        user.stroke(keyA);
        user.move();
    }
    user.sync();
    EXPECT_TRUE(collector.has(7 + 4000));
    const auto all = collector.events();
    EXPECT_EQ(std::count(all.begin(), all.end(), keyDown), 2 + 2000);
    EXPECT_EQ(others, before);
    user.press(keyA);
    user.sync();
    EXPECT_TRUE(collector.has(all.size() + 4)) << "a held key repeats, and each repeat counts";
    user.release(keyA);
    user.sync();
}

TEST_F(X11InputListenerTest, KnowsIdleTimesOfMotionAndKeysApartWithoutATap) {
    const auto idle = [this](InputEventType type) { return listener.secondsSinceLast(type).value_or(-1); };
    EXPECT_GE(idle(mouseMoved), 0);
    EXPECT_TRUE(eventually([&] {
        user.stroke(keyA);
        user.sync();
        return idle(keyDown) < idle(mouseMoved) - 0.001;
    }));
    EXPECT_TRUE(eventually([&] {
        click(2, true);
        user.stroke(keyShift);
        user.sync();
        return idle(mouseMoved) < idle(keyDown) - 0.001;
    }));
    // Clicks and scrolling reset neither. The key behind them proves that they arrived.
    EXPECT_TRUE(eventually([&] { return idle(mouseMoved) > 0.2; }));
    const double before = idle(mouseMoved);
    for (const uint8_t button : {1, 4})
        click(button);
    user.stroke(keyA);
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
    EXPECT_EQ(listener.openTap([](InputEventType) {}), nullptr);

    QThread::sleep(1); // long enough for a spinning thread to show in the processor time

    const XvfbServer next;
    const SessionEnvironment nextEnvironment(next.display());
    X11TestClient nextUser(next.display());
    EXPECT_TRUE(eventually([&] {
        nextUser.stroke(keyA);
        nextUser.sync();
        QThread::msleep(20);
        return counted > 0;
    }));
    EXPECT_EQ(disabled, 1) << "one loss, one notice";
    EXPECT_LT(double(std::clock() - cpuBefore) / CLOCKS_PER_SEC, 0.5)
        << "a dead server must not make us spin";
}

#include "X11InputListener.h"

#include "X11Connection.h"
#include "X11RecordStream.h"
#include "X11TestClient.h"
#include "XvfbFixture.h"

#include <ctime>
#include <gmock/gmock.h>
#include <mutex>
#include <poll.h>

using namespace std::chrono_literals;
using enum InputEventType;
using testing::ElementsAre;

namespace {

/// The server sends what it recorded once a second.
constexpr auto patience = 1500ms;

template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds time = patience) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        poll(nullptr, 0, 5);
    }
    return true;
}

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
    /// What was delivered, once there are `count` or the patience is over.
    std::vector<InputEventType> waitFor(size_t count, std::chrono::milliseconds time = patience) const {
        eventually([&] { return events().size() >= count; }, time);
        return events();
    }

private:
    mutable std::mutex lock_;
    std::vector<InputEventType> events_;
};

class X11InputListenerTest : public testing::Test {
protected:
    XvfbServer server;
    SessionEnvironment environment{server.display()};
    X11TestClient user{server.display()};
    X11InputListener listener;
    Collector collector;
};

} // namespace

TEST(InputEventTypeTable, CountsKeysAndMotionsWithoutOrWithTheLeftOrRightButton) {
    struct {
        quint8 type;
        quint16 state;
        bool isModifierKey;
        std::optional<InputEventType> expected;
    } const table[] = {
        {XCB_KEY_PRESS, 0, false, keyDown},
        {XCB_KEY_PRESS, 0x101, false, keyDown}, // with Shift and a button held
        {XCB_KEY_PRESS, 0, true, std::nullopt},
        {XCB_KEY_RELEASE, 0, false, std::nullopt},
        {XCB_BUTTON_PRESS, 0, false, std::nullopt},
        {XCB_BUTTON_RELEASE, 0x100, false, std::nullopt},
        {XCB_MOTION_NOTIFY, 0, false, mouseMoved},
        {XCB_MOTION_NOTIFY, 0x15, false, mouseMoved}, // with modifiers held
        {XCB_MOTION_NOTIFY, 0x100, false, leftMouseDragged},
        {XCB_MOTION_NOTIFY, 0x400, false, rightMouseDragged},
        {XCB_MOTION_NOTIFY, 0x500, false, leftMouseDragged},
        {XCB_MOTION_NOTIFY, 0x300, false, leftMouseDragged},
        {XCB_MOTION_NOTIFY, 0x600, false, rightMouseDragged},
        {XCB_MOTION_NOTIFY, 0x200, false, std::nullopt},
        {XCB_MOTION_NOTIFY, 0x800, false, std::nullopt},
    };
    for (const auto& row : table)
        EXPECT_EQ(inputEventType(row.type, row.state, row.isModifierKey), row.expected)
            << int(row.type) << " with state " << row.state;
}

TEST(WaylandSession, IsToldByEitherVariable) {
    EXPECT_FALSE(isWaylandSession({}, {}));
    EXPECT_FALSE(isWaylandSession({}, "x11"));
    EXPECT_FALSE(isWaylandSession({}, "tty"));
    EXPECT_TRUE(isWaylandSession("wayland-0", {}));
    EXPECT_TRUE(isWaylandSession({}, "wayland"));
    EXPECT_TRUE(isWaylandSession("wayland-1", "x11"));
}

TEST_F(X11InputListenerTest, DeliversEveryKeyAndMotionAndNothingElse) {
    const auto tap = listener.openTap(collector.handler());
    ASSERT_TRUE(tap);

    user.stroke(X11TestClient::keyShift);
    user.press(X11TestClient::keyControl);
    user.stroke(X11TestClient::keyA);
    user.release(X11TestClient::keyControl);
    for (const uint8_t button : {1, 2, 3, 4, 5}) {
        user.buttonDown(button);
        user.buttonUp(button);
    }
    user.move();
    for (const uint8_t button : {1, 3, 2}) {
        user.buttonDown(button);
        user.move();
        user.buttonUp(button);
    }
    user.stroke(X11TestClient::keyA);
    user.sync();
    EXPECT_THAT(collector.waitFor(5),
                ElementsAre(keyDown, mouseMoved, leftMouseDragged, rightMouseDragged, keyDown));

    for (int i = 0; i < 2000; ++i) {
        user.stroke(X11TestClient::keyA);
        user.move();
    }
    user.sync();
    const auto all = collector.waitFor(5 + 4000);
    EXPECT_EQ(all.size(), 5U + 4000U);
    EXPECT_EQ(std::count(all.begin(), all.end(), keyDown), 2 + 2000);
}

TEST_F(X11InputListenerTest, CountsEachRepeatOfAHeldKey) {
    const auto tap = listener.openTap(collector.handler());
    user.press(X11TestClient::keyA);
    user.sync();
    EXPECT_GE(collector.waitFor(4, 4s).size(), 4U);
    user.release(X11TestClient::keyA);
    user.sync();
}

TEST_F(X11InputListenerTest, FollowsAChangedMappingOfTheModifiers) {
    const auto tap = listener.openTap(collector.handler());
    user.stroke(X11TestClient::keyA);
    user.sync();
    ASSERT_THAT(collector.waitFor(1), ElementsAre(keyDown));

    // The notice of the change may come a moment after the change: press until a press no longer counts.
    ASSERT_TRUE(
        ChildProcess({QStringLiteral("xmodmap"), QStringLiteral("-e"), QStringLiteral("add mod3 = a")})
            .wait());
    EXPECT_TRUE(eventually(
        [&] {
            const auto before = collector.events().size();
            user.stroke(X11TestClient::keyA);
            user.move();
            user.sync();
            return collector.waitFor(before + 1).back() == mouseMoved &&
                   collector.events().size() == before + 1;
        },
        4s));
}

TEST_F(X11InputListenerTest, KnowsIdleTimesOfMotionAndKeysApartWithoutATap) {
    const auto idle = [this](InputEventType type) { return listener.secondsSinceLast(type).value_or(1e9); };
    EXPECT_LT(idle(mouseMoved), 5);
    EXPECT_LT(idle(keyDown), 5);

    EXPECT_TRUE(eventually([&] {
        user.stroke(X11TestClient::keyA);
        user.sync();
        return idle(keyDown) < idle(mouseMoved) - 0.001;
    }));

    const double keyIdle = idle(keyDown);
    EXPECT_TRUE(eventually([&] {
        user.buttonDown(2);
        user.stroke(X11TestClient::keyShift);
        user.move();
        user.buttonUp(2);
        user.sync();
        return idle(mouseMoved) < idle(keyDown) - 0.001;
    }));
    EXPECT_GE(idle(keyDown), keyIdle);
}

TEST_F(X11InputListenerTest, DeliversNothingAfterATapIsGone) {
    std::atomic<bool> gone = false;
    std::atomic<int> late = 0;
    std::atomic<int> count = 0;
    auto tap = listener.openTap([&](InputEventType) {
        ++count;
        late += gone;
    });
    const auto other = listener.openTap(collector.handler());
    for (int i = 0; i < 20000; ++i)
        user.move();
    user.sync();
    EXPECT_TRUE(eventually([&] { return count > 0; }));
    tap.reset();
    gone = true;
    EXPECT_EQ(collector.waitFor(20000).size(), 20000U);
    EXPECT_EQ(late, 0);
}

TEST_F(X11InputListenerTest, OutlivesTheServerAndComesBackWhenEnabled) {
    std::atomic<InputEventTap*> opened = nullptr;
    std::atomic<int> disabled = 0;
    const auto tap = listener.openTap([&, collect = collector.handler()](InputEventType type) {
        if (type == disabledByUserInput) {
            ++disabled;
            opened.load()->enable();
        } else {
            collect(type);
        }
    });
    ASSERT_TRUE(tap);
    opened = tap.get();

    const auto cpuBefore = std::clock();
    server.kill();
    EXPECT_TRUE(eventually([&] { return disabled == 1; }));
    EXPECT_EQ(listener.secondsSinceLast(keyDown), std::nullopt);
    EXPECT_EQ(listener.openTap([](InputEventType) {}), nullptr);
    EXPECT_FALSE(eventually([&] { return disabled > 1; }, 300ms)) << "one loss, one notice";

    const XvfbServer next;
    const SessionEnvironment nextEnvironment(next.display());
    X11TestClient nextUser(next.display());
    EXPECT_TRUE(eventually(
        [&] {
            nextUser.stroke(X11TestClient::keyA);
            nextUser.sync();
            return !collector.waitFor(1, 50ms).empty();
        },
        4s));
    EXPECT_LT(double(std::clock() - cpuBefore) / CLOCKS_PER_SEC, 0.5)
        << "a dead server must not make us spin";
}

TEST(X11InputListenerWithoutInput, IsAbsentWithoutAServerAndOnWaylandAndTriesAgain) {
    const XvfbServer server;
    X11InputListener listener;
    for (const auto& [display, wayland] :
         {std::pair<QByteArray, QByteArray>{"", ""}, {":63999", ""}, {server.display(), "wayland-0"}}) {
        const SessionEnvironment environment(display, wayland);
        EXPECT_EQ(listener.openTap([](InputEventType) {}), nullptr) << display.constData();
        EXPECT_EQ(listener.secondsSinceLast(mouseMoved), std::nullopt) << display.constData();
    }
    const SessionEnvironment environment(server.display());
    EXPECT_TRUE(listener.openTap([](InputEventType) {}));
    EXPECT_TRUE(listener.secondsSinceLast(mouseMoved));
}

TEST(X11InputListenerWithoutInput, IsAbsentWhenTheServerDoesNotRecord) {
    const XvfbServer server(QStringLiteral("640x480x24"),
                            {QStringLiteral("-extension"), QStringLiteral("RECORD")});
    ASSERT_FALSE(server.display().isEmpty());
    const SessionEnvironment environment(server.display());
    X11InputListener listener;
    EXPECT_EQ(listener.openTap([](InputEventType) {}), nullptr);
    EXPECT_FALSE(listener.isListening());
}

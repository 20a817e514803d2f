#include "platform/linux/base/QtExecutor.h"

#include <future>
#include <gtest/gtest.h>
#include <latch>
#include <thread>

using namespace std::chrono_literals;

TEST(ThreadExecutorTest, AStopDropsWhatIsQueuedAndWaitsForTheJobUnderWay) {
    auto kept = std::make_shared<int>();
    std::latch underWay(2);
    std::atomic<bool> finished = false;
    std::atomic<int> ran = 0;
    ThreadExecutor executor("com.velmora.test.stop");
    executor.post([&] {
        underWay.arrive_and_wait();
        std::this_thread::sleep_for(50ms);
        finished = true;
    });
    executor.post([&ran, kept] { ++ran; });
    const auto timer = executor.every(0.001, 0.001, 0, [&] { ++ran; });
    underWay.arrive_and_wait();
    executor.stop();
    EXPECT_TRUE(finished);
    EXPECT_EQ(kept.use_count(), 1) << "dropped jobs let go of what they hold";
    executor.post([&] { ++ran; });
    EXPECT_EQ(ran, 0);
    executor.sync([&] { ++ran; });
    EXPECT_EQ(ran, 1) << "after the thread's end the job runs here";
}

TEST(ThreadExecutorTest, TimersAreNeverEarlyAndMissedOnesAreNotMadeUpFor) {
    ThreadExecutor executor("com.velmora.test.timers");
    std::vector<std::chrono::nanoseconds> fired;
    std::promise<void> done;
    const auto start = std::chrono::steady_clock::now();
    const auto repeating = executor.every(0.1, 0.1, 0, [&] {
        fired.push_back(std::chrono::steady_clock::now() - start);
        if (fired.size() == 1)
            std::this_thread::sleep_for(400ms);
        if (fired.size() == 4)
            done.set_value();
    });
    done.get_future().wait();
    executor.stop();
    // One at once behind the long job, then the interval again.
    const auto soonest = {100ms, 500ms, 600ms, 700ms};
    EXPECT_TRUE(std::equal(soonest.begin(), soonest.end(), fired.begin(), std::less_equal()));
}

TEST(ThreadExecutorTest, ATimerDestroyedOnItsThreadNeverFiresAndMayDestroyItself) {
    ThreadExecutor executor("com.velmora.test.cancel");
    int wrong = 0;
    std::unique_ptr<Executor::Timer> due, own;
    std::promise<void> ended;
    executor.sync([&] {
        own = executor.every(0.001, 0.001, 0, [&, guard = std::make_shared<int>(7)] {
            own.reset();
            wrong += *guard != 7;
            ended.set_value(); // a second call would throw
        });
        due = executor.after(0, [&] { ++wrong; });
        std::this_thread::sleep_for(2ms); // due already
        due.reset();
    });
    ended.get_future().wait();
    executor.sync([&] { executor.sync([] { std::this_thread::sleep_for(5ms); }); });
    executor.sync([] {});
    EXPECT_EQ(wrong, 0);
}

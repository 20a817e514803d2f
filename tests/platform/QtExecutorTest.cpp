#include "QtExecutor.h"

#include "Eventually.h"
#include "Task.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <latch>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;

TEST(ThreadExecutorTest, RunsTheJobsOfEachPosterInOrderAndOneAtATime) {
    ThreadExecutor executor("com.velmora.test.order");
    std::vector<int> seen[4];
    int running = 0, wrong = 0;
    std::vector<std::thread> threads;
    for (auto& order : seen)
        threads.emplace_back([&] {
            for (int job = 0; job < 2000; ++job)
                executor.post([&, job] {
                    wrong += ++running != 1 || !executor.isCurrent();
                    order.push_back(job);
                    --running;
                });
        });
    for (auto& thread : threads)
        thread.join();
    executor.sync([] {});
    EXPECT_EQ(wrong, 0);
    for (const auto& order : seen)
        EXPECT_TRUE(order.size() == 2000 && std::is_sorted(order.begin(), order.end()));
}

TEST(ThreadExecutorTest, AStopDropsWhatIsQueuedAndWaitsForTheJobUnderWay) {
    auto kept = std::make_shared<int>();
    std::latch allPosted(1), entered(1);
    std::atomic<bool> finished = false;
    std::atomic<int> ran = 0;
    ThreadExecutor executor("com.velmora.test.stop");
    executor.post([&] {
        allPosted.wait();
        entered.count_down();
        std::this_thread::sleep_for(50ms);
        finished = true;
    });
    executor.post([&ran, kept] { ++ran; });
    const auto timer = executor.every(0.001, 0.001, 0, [&] { ++ran; });
    allPosted.count_down();
    entered.wait();
    executor.stop();
    EXPECT_TRUE(finished);
    EXPECT_EQ(kept.use_count(), 1) << "dropped jobs let go of what they hold";
    executor.post([&] { ++ran; });
    EXPECT_EQ(ran, 0);
    executor.sync([&] { ++ran; });
    EXPECT_EQ(ran, 1) << "after the thread's end the job runs here";
}

TEST(ThreadExecutorTest, TimersFireInTheOrderOfTheirTimesNeverEarlyAndMissedOnesAreNotMadeUpFor) {
    using Clock = std::chrono::steady_clock;
    ThreadExecutor executor("com.velmora.test.timers");
    std::vector<int> order;
    std::vector<Clock::duration> fired;
    std::latch done(4);
    const auto start = Clock::now();
    const auto late = executor.after(0.04, [&] { order.push_back(2); });
    const auto early = executor.after(0.02, [&] { order.push_back(1); });
    const auto repeating = executor.every(0.1, 0.1, 0, [&] {
        fired.push_back(Clock::now() - start);
        if (fired.size() == 1)
            std::this_thread::sleep_for(400ms);
        if (fired.size() <= 4)
            done.count_down();
    });
    done.wait();
    executor.stop();
    EXPECT_EQ(order, std::vector({1, 2}));
    const auto soonest = {100ms, 500ms, 600ms,
                          700ms}; // one at once behind the long job, then the interval again
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

TEST(MainExecutorTest, ACoroutineCrossesToAThreadAndComesHomeWithResultOrException) {
    MainExecutor main;
    ThreadExecutor worker("com.velmora.test.worker");
    int sum = 0, failures = 0, ended = 0;
    const auto answer = [&worker](int value) -> Task<int> {
        co_await sleepFor(worker, 0.001);
        EXPECT_TRUE(worker.isCurrent());
        if (value < 0)
            throw std::invalid_argument("negative");
        co_return value * 2;
    };
    const auto ask = [&](int value) -> Task<> {
        try {
            sum += co_await runOn(worker, [&answer, value] { return answer(value); });
        } catch (const std::invalid_argument&) {
            ++failures;
        }
        EXPECT_TRUE(main.isCurrent());
        ++ended;
    };
    for (int value = -20; value < 100; ++value)
        spawn(ask(value), "test");
    EXPECT_TRUE(eventually([&] { return ended == 120; }));
    EXPECT_EQ(sum, 99 * 100);
    EXPECT_EQ(failures, 20);
}

} // namespace

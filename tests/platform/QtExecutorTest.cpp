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

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

TEST(ThreadExecutorTest, RunsTheJobsOfEachPosterInOrderAndOneAtATime) {
    ThreadExecutor executor("com.velmora.test.order");
    constexpr int posters = 4;
    constexpr int jobs = 2000;
    std::vector<std::vector<int>> seen(posters);
    int running = 0;
    bool overlapped = false;
    bool elsewhere = false;
    std::vector<std::thread> threads;
    for (int poster = 0; poster < posters; ++poster) {
        threads.emplace_back([&, poster] {
            for (int job = 0; job < jobs; ++job) {
                executor.post([&, poster, job] {
                    overlapped |= ++running != 1;
                    elsewhere |= &Executor::current() != &executor || !executor.isCurrent();
                    seen[poster].push_back(job);
                    --running;
                });
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    executor.sync([] {});
    EXPECT_FALSE(overlapped);
    EXPECT_FALSE(elsewhere);
    for (const auto& order : seen) {
        ASSERT_EQ(order.size(), jobs);
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    }
    EXPECT_FALSE(executor.isCurrent());
}

TEST(ThreadExecutorTest, SyncReturnsWhenTheJobIsDoneWhereverItIsCalledFrom) {
    ThreadExecutor executor("com.velmora.test.sync");
    bool inner = false;
    executor.sync([&] { executor.sync([&] { inner = executor.isCurrent(); }); });
    EXPECT_TRUE(inner);
    EXPECT_THROW(executor.sync([] { throw std::runtime_error("carried over"); }), std::runtime_error);

    executor.stop();
    bool afterwards = false;
    executor.sync([&] { afterwards = executor.isCurrent(); });
    EXPECT_TRUE(afterwards) << "after the thread's end the job runs here";
}

TEST(ThreadExecutorTest, AStopDropsWhatIsQueuedAndWaitsForTheJobUnderWay) {
    auto kept = std::make_shared<int>();
    std::promise<void> entered;
    std::atomic<bool> finished = false;
    std::atomic<int> ran = 0;
    ThreadExecutor executor("com.velmora.test.stop");
    executor.post([&] {
        entered.set_value();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        finished = true;
    });
    entered.get_future().wait();
    for (int i = 0; i < 100; ++i)
        executor.post([&ran, kept] { ++ran; });
    const auto timer = executor.every(0.001, 0.001, 0, [&] { ++ran; });
    executor.stop();
    EXPECT_TRUE(finished);
    EXPECT_EQ(ran, 0);
    EXPECT_EQ(kept.use_count(), 1) << "dropped jobs let go of what they hold";
    executor.post([&] { ++ran; });
    const auto late = executor.after(0, [&] { ++ran; });
    ThreadExecutor neverUsed("com.velmora.test.unused");
    neverUsed.stop();
    EXPECT_EQ(ran, 0);
}

TEST(ThreadExecutorTest, TimersFireInTheOrderOfTheirTimesAndNeverEarly) {
    ThreadExecutor executor("com.velmora.test.timers");
    std::vector<std::pair<int, double>> fired;
    std::latch done(3);
    const auto start = Clock::now();
    const auto note = [&](int name) {
        return [&, name] {
            fired.emplace_back(name, secondsSince(start));
            done.count_down();
        };
    };
    const auto late = executor.after(0.12, note(3));
    const auto early = executor.after(0.04, note(1));
    const auto middle = executor.after(0.08, note(2));
    done.wait();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(fired[i].first, i + 1);
        EXPECT_GE(fired[i].second, 0.04 * (i + 1));
    }
}

TEST(ThreadExecutorTest, ATimerDestroyedOnItsThreadNeverFires) {
    ThreadExecutor executor("com.velmora.test.cancel");
    std::atomic<int> wrong = 0;
    for (int round = 0; round < 300; ++round) {
        executor.sync([&] {
            auto cancelled = std::make_shared<bool>(false);
            auto timer = executor.after(0, [&wrong, cancelled] { wrong += *cancelled; });
            std::this_thread::sleep_for(std::chrono::microseconds(round % 2 ? 0 : 1100)); // due already
            timer.reset();
            *cancelled = true;
        });
        // From here the firing may be under way, but what it holds stays alive.
        auto held = std::make_unique<std::vector<int>>(100, 1);
        auto timer = executor.after(0, [&wrong, sum = *held] { wrong += sum.back() != 1; });
    }
    std::unique_ptr<Executor::Timer> own;
    std::promise<void> ended;
    executor.sync([&] {
        own = executor.every(0.001, 0.001, 0, [&, guard = std::make_shared<int>(7)] {
            own.reset();
            wrong += *guard != 7;
            ended.set_value(); // a second call would throw
        });
    });
    ended.get_future().wait();
    const auto later = executor.after(0.02, [] {});
    executor.sync([] { std::this_thread::sleep_for(std::chrono::milliseconds(10)); });
    EXPECT_EQ(wrong, 0);
}

TEST(ThreadExecutorTest, FiringsMissedInALongJobAreNotMadeUpFor) {
    ThreadExecutor executor("com.velmora.test.missed");
    std::vector<double> fired;
    std::latch done(3);
    const auto start = Clock::now();
    const auto timer = executor.every(0.05, 0.05, 0, [&] {
        fired.push_back(secondsSince(start));
        if (fired.size() == 1)
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        if (fired.size() <= 3)
            done.count_down();
    });
    done.wait();
    executor.sync([] {});
    EXPECT_GE(fired[2] - fired[1], 0.03) << "one late firing, then the interval again";
}

TEST(ThreadExecutorTest, TimersWithLeewayMeetInOneWakeUpAcrossThreads) {
    ThreadExecutor first("com.velmora.test.first");
    ThreadExecutor second("com.velmora.test.second");
    std::atomic<double> times[2] = {0, 0};
    std::latch done(2);
    const auto note = [&](int index) {
        return [&, index] {
            const double now = std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
            if (times[index].exchange(now) == 0)
                done.count_down();
        };
    };
    const auto one = first.every(0.11, 1.0, 1.0, note(0));
    std::this_thread::sleep_for(std::chrono::milliseconds(70));
    const auto other = second.every(0.11, 1.0, 1.0, note(1));
    done.wait();
    for (const auto& time : times)
        EXPECT_LT(time - std::floor(time), 0.1) << "on a whole second of the monotonic clock";
}

Task<int> answerOn(Executor& expected, int value) {
    EXPECT_TRUE(expected.isCurrent());
    co_await sleepFor(expected, 0.001);
    EXPECT_TRUE(expected.isCurrent());
    if (value < 0)
        throw std::invalid_argument("negative");
    co_return value * 2;
}

TEST(MainExecutorTest, ACoroutineCrossesToAThreadAndComesHomeWithResultOrException) {
    MainExecutor main;
    ThreadExecutor worker("com.velmora.test.worker");
    ASSERT_EQ(&Executor::current(), &main);
    int sum = 0;
    int failures = 0;
    int ended = 0;
    const auto ask = [&](int value) -> Task<> {
        bool failed = false;
        try {
            const auto body = [&worker, value] { return answerOn(worker, value); };
            sum += co_await runOn(worker, body);
        } catch (const std::invalid_argument&) {
            failed = true;
        }
        EXPECT_TRUE(main.isCurrent());
        failures += failed;
        ++ended;
    };
    for (int value = -20; value < 100; ++value)
        spawn(ask(value), "test");
    EXPECT_TRUE(eventually([&] { return ended == 120; }));
    EXPECT_EQ(sum, 99 * 100);
    EXPECT_EQ(failures, 20);
}

TEST(MainExecutorTest, TimersGoOnInAnEventLoopThatAJobRuns) {
    MainExecutor main;
    int ticks = 0;
    bool left = false;
    const auto ticker = main.every(0.005, 0.005, 0, [&] { ++ticks; });
    const auto modal = main.after(0.01, [&] {
        const int before = ticks;
        left = eventually([&] { return ticks >= before + 3; });
    });
    EXPECT_TRUE(eventually([&] { return left; }));
}

} // namespace

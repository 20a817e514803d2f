#pragma once

#include "platform/Executor.h"

#include <QString>
#include <chrono>
#include <mutex>

/// An executor over a Qt event loop: jobs are posted events, and one precise timer serves all pending timers.
///
/// A repeating timer with leeway uses it up until its firings fall on whole seconds of the monotonic clock,
/// and then keeps its interval: timers of whole seconds thus meet in one wake-up, across threads too.
class QtExecutor : public Executor {
public:
    ~QtExecutor() override;

    void post(Job job) override;
    [[nodiscard]] std::unique_ptr<Timer> after(Seconds delay, Job job) override;
    [[nodiscard]] std::unique_ptr<Timer> every(Seconds first, Seconds interval, Seconds leeway, Job job) override;
    void sync(const Job& job) override;

protected:
    class Pump;
    QtExecutor();

    /// Called before each job is posted: the moment to start a thread.
    virtual void prepare() {}

    std::unique_ptr<Pump> pump_;

private:
    struct PendingTimer;
    std::unique_ptr<Timer> schedule(std::chrono::nanoseconds due, std::shared_ptr<PendingTimer> timer);
};

/// The executor of the thread that constructs it, which must run the application's event loop. While it lives
/// it is `Executor::current()` there.
class MainExecutor final : public QtExecutor {
public:
    MainExecutor();

private:
    Scope scope_;
};

/// An executor with a thread of its own, which starts at the first use.
class ThreadExecutor final : public QtExecutor {
public:
    /// The thread bears the last component of `label` as its name.
    explicit ThreadExecutor(const QString& label);
    ~ThreadExecutor() override;

    /// Ends the thread once the job under way returned. Jobs and timers that have not run are dropped, later
    /// ones too; `sync` then runs its job on the calling thread. Not to be called on the executor itself.
    void stop();

private:
    class Worker;
    void prepare() override;

    std::unique_ptr<Worker> thread_;
    std::once_flag started_;
};

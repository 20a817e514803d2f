#pragma once

#include "platform/Executor.h"

#include <QString>
#include <chrono>
#include <mutex>

/// An executor over a Qt event loop: jobs are posted events, and one precise timer serves all pending timers.
///
/// A repeating timer with leeway is delayed until it fires on whole seconds of the monotonic clock and then keeps its
/// interval: timers of whole seconds thus share wake-ups, across threads too.
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

    /// Called before each job is posted, to start a thread at its first job.
    virtual void prepare() {}

    std::unique_ptr<Pump> pump_;

private:
    struct PendingTimer;
    std::unique_ptr<Timer> schedule(std::chrono::nanoseconds due, std::shared_ptr<PendingTimer> timer);
};

/// The executor of the thread that constructs it, which must run the application's event loop. During its lifetime it
/// is `Executor::current()` there.
class MainExecutor final : public QtExecutor {
public:
    MainExecutor();

private:
    Scope scope_;
};

/// An executor with its own thread, which starts at the first use.
class ThreadExecutor final : public QtExecutor {
public:
    /// The last component of `label` is the name of the thread.
    explicit ThreadExecutor(const QString& label);
    ~ThreadExecutor() override;

    /// Ends the thread after its current job. Drops pending and later jobs and timers; `sync` then runs its job on the
    /// calling thread. Must not be called on the executor itself.
    void stop();

private:
    class Worker;
    void prepare() override;

    std::unique_ptr<Worker> thread_;
    std::once_flag started_;
};

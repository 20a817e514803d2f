#pragma once

#include "platform/Date.h"

#include <functional>
#include <memory>

/// A serial queue: runs posted jobs one at a time, in order, on one thread. `post`, `after`, `every` and `sync` may be
/// called from any thread.
class Executor {
public:
    using Job = std::function<void()>;

    /// A pending or repeating timer. Destroying it cancels it: on the executor's thread the job does not run after the
    /// destructor; on another thread a running job may still finish.
    class Timer {
    public:
        virtual ~Timer() = default;
    };

    virtual ~Executor() = default;

    virtual void post(Job job) = 0;

    /// Runs `job` once, `delay` seconds from now (at least 0).
    [[nodiscard]] virtual std::unique_ptr<Timer> after(Seconds delay, Job job) = 0;

    /// Runs `job` first after `first` seconds and then every `interval` seconds (above 0). A call may be up to
    /// `leeway` seconds late, so that wake-ups coincide. Missed calls, for instance while the machine sleeps, are
    /// skipped.
    [[nodiscard]] virtual std::unique_ptr<Timer> every(Seconds first, Seconds interval, Seconds leeway, Job job) = 0;

    /// Runs `job` on the executor and returns when it has finished; runs it directly if called on the executor.
    virtual void sync(const Job& job) = 0;

    bool isCurrent() const { return currentOrNull() == this; }

    /// The executor whose job the calling thread is running. Calling it elsewhere is a programming error.
    static Executor& current();

protected:
    static Executor* currentOrNull();

    /// Makes `executor` the current one of the calling thread for the lifetime of this object.
    class Scope {
    public:
        explicit Scope(Executor* executor);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        Executor* previous_;
    };
};

#pragma once

#include "platform/Date.h"

#include <functional>
#include <memory>

/// A serial queue: runs what is posted to it one job at a time, in order, on one thread.
/// `post`, `after`, `every` and `sync` may be called from any thread.
class Executor {
public:
    using Job = std::function<void()>;

    /// A pending or repeating timer. Destroying it cancels: when the destructor returns on the executor's own
    /// thread, the job will not run any more. From another thread a firing already under way may still finish.
    class Timer {
    public:
        virtual ~Timer() = default;
    };

    virtual ~Executor() = default;

    virtual void post(Job job) = 0;

    /// Runs `job` once, `delay` seconds from now (at least 0).
    [[nodiscard]] virtual std::unique_ptr<Timer> after(Seconds delay, Job job) = 0;

    /// Runs `job` first after `first` seconds and then every `interval` seconds (above 0). A firing may come up to
    /// `leeway` seconds late, so that the system can put wake-ups together. Firings that were missed, in a sleep
    /// of the machine for instance, are not made up for.
    [[nodiscard]] virtual std::unique_ptr<Timer> every(Seconds first, Seconds interval, Seconds leeway, Job job) = 0;

    /// Runs `job` on the executor and returns when it is done; at once when called on the executor itself.
    virtual void sync(const Job& job) = 0;

    bool isCurrent() const { return currentOrNull() == this; }

    /// The executor whose job the calling thread is running. Calling it elsewhere is a programming error.
    static Executor& current();

protected:
    static Executor* currentOrNull();

    /// Marks `executor` as the one that the calling thread works for, for the life of the object.
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

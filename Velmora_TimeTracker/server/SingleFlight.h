#pragma once

#include "platform/Task.h"

#include <exception>
#include <utility>
#include <variant>
#include <vector>

/// One asynchronous operation of a serial worker that never runs twice at once: who calls while it runs waits
/// for that run's outcome, result or exception, whatever it asked for. Waiters resume in the order they came,
/// and the next run can begin before any of them goes on. Touched on `worker` only. A caller that goes away
/// cancels nothing.
template <typename T>
class SingleFlight {
public:
    explicit SingleFlight(Executor& worker)
        : worker_(worker) {}

    /// `body` makes the operation's coroutine; it is not called by those who wait.
    template <typename Body>
    Task<T> run(Body body) {
        if (isRunning_) {
            const Completion<Outcome> finished(worker_);
            waiters_.push_back(finished);
            const Outcome outcome = co_await finished;
            co_return valueOf(outcome);
        }
        isRunning_ = true;
        Outcome outcome;
        try {
            outcome.template emplace<T>(co_await body());
        } catch (...) {
            outcome.template emplace<std::exception_ptr>(std::current_exception());
        }
        isRunning_ = false;
        for (const Completion<Outcome>& waiter : std::exchange(waiters_, {}))
            waiter.complete(outcome);
        co_return valueOf(outcome);
    }

private:
    using Outcome = std::variant<std::exception_ptr, T>;

    static T valueOf(const Outcome& outcome) {
        if (const auto* failure = std::get_if<std::exception_ptr>(&outcome))
            std::rethrow_exception(*failure);
        return std::get<T>(outcome);
    }

    Executor& worker_;
    bool isRunning_ = false;
    std::vector<Completion<Outcome>> waiters_;
};

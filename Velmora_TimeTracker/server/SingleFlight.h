#pragma once

#include "platform/Task.h"

#include <exception>
#include <utility>
#include <variant>
#include <vector>

/// Coalesces concurrent calls of one asynchronous operation: a caller that arrives during a run gets its result or
/// exception. Waiters resume in the order of arrival, possibly after the next run has started. Used on `worker` only.
/// A caller that ends early does not cancel the run.
template <typename T>
class SingleFlight {
public:
    explicit SingleFlight(Executor& worker)
        : worker_(worker) {}

    /// `body` starts the operation; it is not called for a caller that joins a run.
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

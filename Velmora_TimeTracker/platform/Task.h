#pragma once

#include "platform/Executor.h"

#include <QCoroTask>
#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

/// The result of every asynchronous operation, a coroutine that starts at once on the caller's thread.
///
/// Rules for coroutines of this program: parameters by value; no member is moved from across a `co_await`; after each
/// `co_await` re-check what may have changed. Arguments of a coroutine call are named locals or plain values: g++ 12
/// miscompiles braced temporaries in a `co_await` expression. `co_return` of a variable moves from it, a member
/// included: return a copy of what must stay.
template <typename T = void>
using Task = QCoro::Task<T>;

/// `co_await resumeOn(executor)`: the rest of the coroutine runs as a job of `executor`.
class resumeOn {
public:
    explicit resumeOn(Executor& executor)
        : executor_(executor) {}
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiter) {
        executor_.post([waiter] { waiter.resume(); });
    }
    void await_resume() const noexcept {}

private:
    Executor& executor_;
};

/// A value that is set once and awaited by at most one coroutine. Copies share the value. `complete` may be called
/// from any thread; the waiter resumes as a job of the executor given at construction. A second `complete` is ignored.
template <typename T>
class Completion {
    struct State {
        std::optional<T> value;
        std::coroutine_handle<> waiter;
    };

public:
    explicit Completion(Executor& resumesOn)
        : executor_(&resumesOn) {}

    void complete(T value) const {
        executor_->post([state = state_, value = std::move(value)]() mutable {
            if (state->value)
                return;
            state->value.emplace(std::move(value));
            if (auto waiter = std::exchange(state->waiter, nullptr))
                waiter.resume();
        });
    }

    auto operator co_await() const {
        struct Awaiter {
            std::shared_ptr<State> state;
            bool await_ready() const noexcept { return state->value.has_value(); }
            void await_suspend(std::coroutine_handle<> waiter) noexcept { state->waiter = waiter; }
            T await_resume() { return std::move(*state->value); }
        };
        return Awaiter{state_};
    }

private:
    Executor* executor_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// Suspends the calling coroutine for `delay` seconds; it resumes as a job of `executor`.
inline Task<> sleepFor(Executor& executor, Seconds delay) {
    Completion<bool> elapsed(executor);
    const auto timer = executor.after(delay, [elapsed] { elapsed.complete(true); });
    co_await elapsed;
}

namespace detail {
template <typename T>
struct TaskValue;
template <typename T>
struct TaskValue<Task<T>> {
    using type = T;
};
} // namespace detail

/// Runs the coroutine that `body` returns on `target` and resumes the caller on its own executor with the result or
/// exception. Operations of a serial worker start with it.
template <typename Body>
auto runOn(Executor& target, Body body) -> std::invoke_result_t<Body> {
    using T = typename detail::TaskValue<std::invoke_result_t<Body>>::type;
    Executor& home = Executor::current();
    if (&home != &target)
        co_await resumeOn(target);
    std::exception_ptr failure;
    if constexpr (std::is_void_v<T>) {
        try {
            co_await body();
        } catch (...) {
            failure = std::current_exception();
        }
        if (&home != &target)
            co_await resumeOn(home);
        if (failure)
            std::rethrow_exception(failure);
    } else {
        std::optional<T> result;
        try {
            result.emplace(co_await body());
        } catch (...) {
            failure = std::current_exception();
        }
        if (&home != &target)
            co_await resumeOn(home);
        if (failure)
            std::rethrow_exception(failure);
        co_return std::move(*result);
    }
}

/// Runs a task that is not awaited; an exception is logged under `what`, a string literal.
Task<> spawn(Task<> task, const char* what);

#pragma once

#include "platform/Executor.h"

#include <functional>
#include <memory>

/// Counts a minute down, second by second, before something may be asked for again.
class Cooldown {
public:
    static constexpr int length = 60;

    /// `onChange` follows each change of `secondsLeft`.
    Cooldown(Executor& main, std::function<void()> onChange)
        : main_(main)
        , onChange_(std::move(onChange)) {}

    int secondsLeft() const { return secondsLeft_; }
    void start();
    void cancel();

private:
    void tick();

    Executor& main_;
    const std::function<void()> onChange_;
    int secondsLeft_ = 0;
    std::unique_ptr<Executor::Timer> timer_;
};

#pragma once

#include "platform/Executor.h"

#include <functional>
#include <memory>

/// A countdown of one minute before a request may be repeated.
class Cooldown {
public:
    static constexpr int length = 60;

    /// `onChange` is called after each change of `secondsLeft`.
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

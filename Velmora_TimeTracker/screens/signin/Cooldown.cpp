#include "screens/signin/Cooldown.h"

void Cooldown::start() {
    secondsLeft_ = length;
    timer_ = main_.every(1, 1, 0.1, [this] { tick(); });
    onChange_();
}

void Cooldown::cancel() {
    secondsLeft_ = 0;
    timer_.reset();
}

void Cooldown::tick() {
    if (--secondsLeft_ == 0)
        timer_.reset();
    onChange_();
}

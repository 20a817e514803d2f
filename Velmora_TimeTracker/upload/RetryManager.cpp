#include "upload/RetryManager.h"

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/Random.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr Seconds longestCooldown = 600;
}

void RetryManager::registerFailure(std::optional<int> statusCode) {
    constexpr int failuresThatOpen = 5;
    constexpr Seconds firstCooldown = 60;

    ++consecutiveFailures_;
    if (!statusCode || *statusCode < 500 || consecutiveFailures_ < failuresThatOpen)
        return;
    // Failures are counted while the circuit is open too: after the cool-down one more server error opens it again,
    // for longer.
    ++circuitOpenCount_;
    const Seconds cooldown = std::min(longestCooldown, std::ldexp(firstCooldown, circuitOpenCount_ - 1));
    circuitOpenUntil_ = clock_.now() + cooldown;
    qCCritical(Log::upload, "Circuit breaker opened for %fs after %d failures", cooldown, consecutiveFailures_);
}

void RetryManager::registerSuccess() {
    consecutiveFailures_ = 0;
    circuitOpenUntil_.reset();
    circuitOpenCount_ = 0;
}

bool RetryManager::canAttempt(Date now) const {
    if (!circuitOpenUntil_ || now >= *circuitOpenUntil_)
        return true;
    // If the wall clock was set back, the cool-down must not grow by the jump.
    return *circuitOpenUntil_ - now > longestCooldown;
}

Date RetryManager::nextAttemptDate(int retryCount) {
    const Seconds step = std::ldexp(2.0, std::min(retryCount, 5));
    return clock_.now() + std::min(longestDelay, step + random_.uniform(0, 1));
}

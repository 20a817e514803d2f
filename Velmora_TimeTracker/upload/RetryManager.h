#pragma once

#include "platform/Date.h"

#include <optional>

class Clock;
class Random;

/// Computes the retry times of failed tasks, and holds the circuit breaker that stops the queue while the server keeps
/// failing. Not persistent. Worker executor only.
class RetryManager {
public:
    static constexpr Seconds longestDelay = 300; ///< Limit of the retry delay.

    RetryManager(const Clock& clock, Random& random)
        : clock_(clock)
        , random_(random) {}

    /// From the fifth failure since the last success on, a status of 500 or above opens the circuit: for 60
    /// s, then 120, 240, 480 and 600 each further time.
    void registerFailure(std::optional<int> statusCode);
    /// Closes the circuit and resets the count of failures.
    void registerSuccess();
    /// True from an opening of the circuit until the next success.
    bool hasOpened() const { return circuitOpenCount_ > 0; }
    /// False while the circuit is open; true again from the end of the cool-down on (inclusive).
    bool canAttempt(Date now) const;
    /// After `retryCount` failed attempts: 2 × 2^min(retryCount, 5) plus up to 1 seconds from now, at most
    /// `longestDelay`.
    Date nextAttemptDate(int retryCount);

private:
    const Clock& clock_;
    Random& random_;
    int consecutiveFailures_ = 0;
    std::optional<Date> circuitOpenUntil_;
    int circuitOpenCount_ = 0;
};

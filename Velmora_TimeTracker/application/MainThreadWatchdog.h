#pragma once

#include "platform/Date.h"
#include "platform/Executor.h"

#include <QString>
#include <functional>
#include <memory>

class Clock;

/// Measures how long the main thread takes to run a ping, and reports each late one. It never interrupts the main
/// thread.
class MainThreadWatchdog {
public:
    static constexpr Seconds defaultPingInterval = 2.0;
    static constexpr Seconds defaultStallThreshold = 0.25;

    /// `onStall` runs on `queue` with the wait in seconds.
    MainThreadWatchdog(const Clock& clock, Executor& queue, Executor& main, std::function<void(Seconds)> onStall,
                       Seconds pingInterval = defaultPingInterval, Seconds stallThreshold = defaultStallThreshold);
    ~MainThreadWatchdog();

    /// A second call has no effect.
    void start();

private:
    struct Shared;
    const std::shared_ptr<Shared> shared_;
    const Seconds pingInterval_;
    std::unique_ptr<Executor::Timer> timer_; ///< Used on `queue` only.
};

/// The stall log: one line a stall, "<UTC time stamp>,<milliseconds>", rotated to "…old.log" above 1,000,000
/// bytes.
namespace StallLog {
inline constexpr qint64 rotateAbove = 1'000'000;
/// "mainthread-stalls.log" in the program's own folder.
QString defaultLogURL(const QString& folder);
/// Ignores file errors.
void append(const QString& file, Date now, Seconds stall);
} // namespace StallLog

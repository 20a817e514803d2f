#include "platform/linux/base/LinuxClock.h"

#include <ctime>

Date LinuxClock::now() const {
    const std::chrono::duration<double> since1970 = std::chrono::system_clock::now().time_since_epoch();
    return Date::since1970(since1970.count());
}

std::chrono::nanoseconds LinuxClock::uptime() const {
    return std::chrono::steady_clock::now().time_since_epoch();
}

std::chrono::nanoseconds LinuxClock::timeAsleep() {
    const auto read = [](clockid_t clock) {
        timespec time{};
        clock_gettime(clock, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    };
    const auto awake = read(CLOCK_MONOTONIC);
    return read(CLOCK_BOOTTIME) - awake;
}

QTimeZone LinuxClock::systemTimeZone() const {
    const QTimeZone zone = QTimeZone::systemTimeZone();
    return zone.isValid() ? zone : QTimeZone::utc();
}

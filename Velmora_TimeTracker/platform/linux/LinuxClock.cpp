#include "LinuxClock.h"

Date LinuxClock::now() const {
    const std::chrono::duration<double> since1970 = std::chrono::system_clock::now().time_since_epoch();
    return Date::since1970(since1970.count());
}

std::chrono::nanoseconds LinuxClock::uptime() const {
    return std::chrono::steady_clock::now().time_since_epoch();
}

QTimeZone LinuxClock::systemTimeZone() const {
    const QTimeZone zone = QTimeZone::systemTimeZone();
    return zone.isValid() ? zone : QTimeZone::utc();
}

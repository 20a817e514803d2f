#include "platform/Date.h"

#include <cmath>

QDateTime Date::toDateTime(const QTimeZone& zone) const {
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(std::floor(secondsSince1970() * 1000.0)), zone);
}

Date Date::fromDateTime(const QDateTime& dateTime) {
    return Date::since1970(static_cast<double>(dateTime.toMSecsSinceEpoch()) / 1000.0);
}

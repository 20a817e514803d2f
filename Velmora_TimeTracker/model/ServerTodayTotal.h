#pragma once

#include <QString>

/// The server's total of one day.
struct ServerTodayTotal {
    qint64 totalSeconds = 0;
    QString date; ///< "yyyy-MM-dd" in the API time zone.

    friend bool operator==(const ServerTodayTotal&, const ServerTodayTotal&) = default;
};

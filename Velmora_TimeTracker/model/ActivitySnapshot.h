#pragma once

#include <QtGlobal>

struct ActivitySnapshot {
    qint64 mouseMoves = 0;
    qint64 keyboardEvents = 0;
    double activityScore = 0; ///< 0 to 100: the share of tracked seconds with input.

    friend bool operator==(const ActivitySnapshot&, const ActivitySnapshot&) = default;
};

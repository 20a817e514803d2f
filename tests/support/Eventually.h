#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

/// Runs the event loop until `condition` holds; false when it does not within `seconds`.
template <typename Condition>
bool eventually(Condition condition, int seconds = 30) {
    for (const QDeadlineTimer deadline(seconds * 1000); !condition(); QThread::usleep(500)) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents();
    }
    return true;
}

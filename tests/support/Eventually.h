#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

/// Runs the event loop until `condition` holds; false when it does not within half a minute.
template <typename Condition>
bool eventually(Condition condition) {
    for (const QDeadlineTimer deadline(30000); !condition(); QThread::usleep(500)) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents();
    }
    return true;
}

#pragma once

#include <QString>
#include <QStringList>
#include <memory>

/// Collects what the log channels say while it lives, from every thread. One at a time.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QStringList lines() const;
    /// What was said at one level only.
    QStringList lines(QtMsgType level) const;
    bool contains(const QString& text) const;
    int count(const QString& text) const;
};

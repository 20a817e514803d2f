#include "LogCapture.h"

#include <QtGlobal>
#include <mutex>

namespace {
std::mutex mutex;
QList<QPair<QtMsgType, QString>> captured;
QtMessageHandler previous = nullptr;

void collect(QtMsgType level, const QMessageLogContext&, const QString& message) {
    const std::lock_guard guard(mutex);
    captured.append({level, message});
}
} // namespace

LogCapture::LogCapture() {
    const std::lock_guard guard(mutex);
    captured.clear();
    previous = qInstallMessageHandler(collect);
}

LogCapture::~LogCapture() {
    qInstallMessageHandler(previous);
}

QStringList LogCapture::lines() const {
    const std::lock_guard guard(mutex);
    QStringList lines;
    for (const auto& [level, line] : captured)
        lines.append(line);
    return lines;
}

QStringList LogCapture::lines(QtMsgType level) const {
    const std::lock_guard guard(mutex);
    QStringList lines;
    for (const auto& [saidAt, line] : captured)
        if (saidAt == level)
            lines.append(line);
    return lines;
}

bool LogCapture::contains(const QString& text) const {
    return count(text) > 0;
}

int LogCapture::count(const QString& text) const {
    return static_cast<int>(lines().filter(text).size());
}

#include "LogCapture.h"

#include <QtGlobal>
#include <mutex>

namespace {
std::mutex mutex;
QStringList captured;
QtMessageHandler previous = nullptr;

void collect(QtMsgType, const QMessageLogContext&, const QString& message) {
    const std::lock_guard guard(mutex);
    captured.append(message);
}
} // namespace

LogCapture::LogCapture() {
    const std::lock_guard guard(mutex);
    captured.clear();
    previous = qInstallMessageHandler(collect);
}

LogCapture::~LogCapture() { qInstallMessageHandler(previous); }

QStringList LogCapture::lines() const {
    const std::lock_guard guard(mutex);
    return captured;
}

bool LogCapture::contains(const QString& text) const { return count(text) > 0; }

int LogCapture::count(const QString& text) const {
    return static_cast<int>(lines().filter(text).size());
}

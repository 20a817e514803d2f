#pragma once

#include <QString>
#include <QStringList>
#include <mutex>
#include <optional>

/// Collects what the log channels say while it lives, from every thread. One at a time.
class LogCapture {
public:
    LogCapture() {
        captured_.clear();
        previous_ = qInstallMessageHandler([](QtMsgType level, const auto&, const QString& line) {
            const std::lock_guard guard(mutex_);
            captured_.append({level, line});
        });
    }
    ~LogCapture() { qInstallMessageHandler(previous_); }

    /// All of it, or what was said at one level only.
    QStringList lines(std::optional<QtMsgType> only = std::nullopt) const {
        const std::lock_guard guard(mutex_);
        QStringList lines;
        for (const auto& [level, line] : captured_)
            if (level == only.value_or(level))
                lines.append(line);
        return lines;
    }
    bool contains(const QString& text) const { return count(text) > 0; }
    int count(const QString& text) const { return static_cast<int>(lines().filter(text).size()); }

private:
    static inline std::mutex mutex_; ///< Guards the next member.
    static inline QList<QPair<QtMsgType, QString>> captured_;
    QtMessageHandler previous_ = nullptr;
};

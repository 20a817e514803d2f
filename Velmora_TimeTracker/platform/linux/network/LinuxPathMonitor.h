#pragma once

#include "platform/PathMonitor.h"

#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QObject>
#include <memory>
#include <optional>

/// NetworkManager's opinion: online from "connected, site" on. Without NetworkManager the machine counts as
/// online. Updates come on the thread of construction.
class LinuxPathMonitor final : public QObject, public PathMonitor {
    Q_OBJECT

public:
    explicit LinuxPathMonitor(const QDBusConnection& systemBus);

    void start(std::function<void(bool online)> onUpdate) override;

private Q_SLOTS:
    void stateChanged(uint state);

private:
    void ask();
    void report(bool online);

    QDBusConnection bus_;
    std::function<void(bool)> onUpdate_;
    std::unique_ptr<QDBusPendingCallWatcher> question_; ///< The last one; gone once a newer word has come.
    std::optional<bool> last_;
};

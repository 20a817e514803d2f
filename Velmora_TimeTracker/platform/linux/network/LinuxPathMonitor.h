#pragma once

#include "platform/PathMonitor.h"

#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QObject>
#include <memory>
#include <optional>

/// The state of NetworkManager: online from "connected, site" on. Without NetworkManager the machine counts as online.
/// Updates are called on the constructing thread.
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
    std::unique_ptr<QDBusPendingCallWatcher> pendingQuery_; ///< Pending query; reset when a newer state arrives.
    std::optional<bool> last_;
};

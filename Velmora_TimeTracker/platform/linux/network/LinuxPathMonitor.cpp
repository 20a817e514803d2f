#include "platform/linux/network/LinuxPathMonitor.h"

#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

namespace {
const QString service = "org.freedesktop.NetworkManager";
const QString path = "/org/freedesktop/NetworkManager";

/// NetworkManager's states range from 10 (asleep) to 70 (global connectivity); 0 is unknown.
bool isOnline(uint state) {
    constexpr uint connectedToSite = 60; // site connectivity, which may reach a company's server
    return state == 0 || state >= connectedToSite;
}
} // namespace

LinuxPathMonitor::LinuxPathMonitor(const QDBusConnection& systemBus)
    : bus_(systemBus) {}

void LinuxPathMonitor::start(std::function<void(bool online)> onUpdate) {
    onUpdate_ = std::move(onUpdate);
    if (!bus_.isConnected()) {
        QMetaObject::invokeMethod(
            this, [this] { report(true); }, Qt::QueuedConnection);
        return;
    }
    bus_.connect(service, path, service, "StateChanged", this, SLOT(stateChanged(uint)));
    auto* watcher = new QDBusServiceWatcher(service, bus_, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, &LinuxPathMonitor::ask);
    ask();
}

void LinuxPathMonitor::ask() {
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, "org.freedesktop.DBus.Properties", "Get");
    call << service << "State";
    pendingQuery_ = std::make_unique<QDBusPendingCallWatcher>(bus_.asyncCall(call));
    connect(pendingQuery_.get(), &QDBusPendingCallWatcher::finished, this, [this] {
        const QDBusPendingReply<QDBusVariant> reply = *pendingQuery_;
        report(reply.isError() || isOnline(reply.value().variant().toUInt()));
    });
}

void LinuxPathMonitor::stateChanged(uint state) {
    pendingQuery_.reset(); // its late reply would be older
    report(isOnline(state));
}

void LinuxPathMonitor::report(bool online) {
    if (last_ != online) {
        last_ = online;
        onUpdate_(online);
    }
}

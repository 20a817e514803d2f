#include "upload/NetworkMonitor.h"

#include "platform/Log.h"
#include "platform/PathMonitor.h"

NetworkMonitor::NetworkMonitor(PathMonitor& monitor) {
    monitor.start([weak = std::weak_ptr<State>(state_)](bool online) {
        const auto state = weak.lock();
        if (!state)
            return;
        qCInfo(Log::upload, "Network: %s", online ? "online" : "offline");
        const std::lock_guard guard(state->lock);
        state->isOnline = online;
    });
}

bool NetworkMonitor::isOnline() const {
    const std::lock_guard guard(state_->lock);
    return state_->isOnline;
}

#include "platform/simulated/SimulatedPlatform.h"

#include <utility>

namespace {
void callIfSet(const std::function<void()>& handler) {
    if (handler)
        handler();
}
} // namespace

void SimulatedPower::willSleep() const {
    if (handlers_.willSleep)
        handlers_.willSleep();
}
void SimulatedPower::didWake() const {
    callIfSet(handlers_.didWake);
}
void SimulatedPower::willTerminate() const {
    callIfSet(handlers_.willTerminate);
}

void SimulatedPath::start(std::function<void(bool)> onUpdate) {
    onUpdate_ = std::move(onUpdate);
    onUpdate_(online_);
}

void SimulatedPath::set(bool online) {
    online_ = online;
    if (onUpdate_)
        onUpdate_(online_);
}

void SimulatedDesktop::present(const Alert& alert, std::function<void(int)> done) {
    alerts.push_back(alert);
    if (queuedAnswers.empty()) {
        waiting_.push_back({alert.identifier, std::move(done)});
        return;
    }
    const int button = queuedAnswers.front();
    queuedAnswers.pop_front();
    done(button);
}

void SimulatedDesktop::withdraw(const QString& identifier) {
    std::erase_if(waiting_, [&](const Open& open) { return open.identifier == identifier; });
}

void SimulatedDesktop::answer(int button) {
    if (waiting_.empty())
        return;
    const auto done = std::move(waiting_.front().done);
    waiting_.pop_front();
    done(button);
}

bool SimulatedDesktop::bringWindowToFront() {
    windowsRaised += hasWindow ? 1 : 0;
    return hasWindow;
}

std::optional<QString> SimulatedInformation::information(const QString& key) const {
    const auto found = values.constFind(key);
    return found == values.constEnd() ? std::nullopt : std::optional(*found);
}

SimulatedPlatform::SimulatedPlatform(const QString& supportDirectory, quint32 seed, Date start, const QByteArray& zone)
    : timeline(start, zone)
    , random(seed) {
    information.supportDirectory = supportDirectory;
}

Platform SimulatedPlatform::platform() {
    return Platform{clock,    random,        main,       worker,      screenCapture, utility,    idle,
                    watchdog, userInitiated, urlSession, preferences, secrets,       input,      input,
                    displays, permissions,   power,      path,        desktop,       information};
}

void SimulatedPlatform::processDied() {
    timeline.clear();
    power.forget();
    path.forget();
    desktop.forget();
}

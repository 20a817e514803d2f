#pragma once

#include "platform/PowerEvents.h"
#include "platform/linux/base/LinuxClock.h"

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <chrono>
#include <functional>
#include <memory>

class Executor;
class QSocketNotifier;
class TerminationSignals;

/// Sleep, wake and shutdown from logind, termination signals, and the end of the application by quitting or by the
/// loss of its X server. A delay inhibitor makes the machine wait until the sleep handler, and jobs that it posted to
/// the main executor, have run. Without logind the rest still works, and a sleep is reported at the wake; a logind
/// that appears later is used.
class LinuxPowerEvents final : public QObject, public PowerEvents {
    Q_OBJECT

public:
    /// `timeAsleep` is called on the main thread.
    LinuxPowerEvents(Executor& main, const QDBusConnection& systemBus,
                     std::function<std::chrono::nanoseconds()> timeAsleep = LinuxClock::timeAsleep);
    ~LinuxPowerEvents() override;

    void start(Handlers handlers) override;

    /// The desktop session ends: runs `willTerminate`, unless it ran before, and then ends the application.
    void sessionIsEnding();

    /// Reports the wake from an unannounced sleep. Called when the two clocks have diverged, as they do at each wake.
    void lookForSleep();

private Q_SLOTS:
    void prepareForSleep(bool begins);
    void prepareForShutdown(bool begins);

private:
    void watchClocks();
    void takeInhibitor();
    void releaseInhibitorAfterPostedWork();
    void terminateOnce();

    Executor& main_;
    QDBusConnection bus_;
    const std::function<std::chrono::nanoseconds()> timeAsleep_;
    std::chrono::nanoseconds reportedSleep_{}; ///< Total sleep time already reported to the handlers.
    std::unique_ptr<QSocketNotifier> clocksMoved_;
    Handlers handlers_;
    QDBusUnixFileDescriptor inhibitor_;
    std::unique_ptr<TerminationSignals> signals_;
};

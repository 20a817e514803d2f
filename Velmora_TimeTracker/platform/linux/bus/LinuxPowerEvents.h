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

/// Sleep, wake and shutdown from logind, termination signals, and the end of the application, be it that it
/// quits or that its X server is lost. A delay inhibitor makes the machine wait until the sleep handler, and
/// what it posted to the main executor, is done. Without logind the rest still works, and of a sleep
/// the wake is told; a logind that comes later is taken up.
class LinuxPowerEvents final : public QObject, public PowerEvents {
    Q_OBJECT

public:
    /// `timeAsleep` is asked on the main thread.
    LinuxPowerEvents(Executor& main, const QDBusConnection& systemBus,
                     std::function<std::chrono::nanoseconds()> timeAsleep = LinuxClock::timeAsleep);
    ~LinuxPowerEvents() override;

    void start(Handlers handlers) override;

    /// The desktop session ends: runs `willTerminate`, unless it ran before, and then ends the application.
    void sessionIsEnding();

    /// Tells the wake from a sleep that nobody announced. Called when the clocks have moved against each other, as they do
    /// at each wake.
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
    std::chrono::nanoseconds knownAsleep_{}; ///< Of which the handlers have heard.
    std::unique_ptr<QSocketNotifier> clocksMoved_;
    Handlers handlers_;
    QDBusUnixFileDescriptor inhibitor_;
    std::unique_ptr<TerminationSignals> signals_;
};

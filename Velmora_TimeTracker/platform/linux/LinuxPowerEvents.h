#pragma once

#include "PowerEvents.h"

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <memory>

class Executor;
class TerminationSignals;

/// Sleep, wake and shutdown from logind, termination signals, and the end of the application, be it that it
/// quits or that its X server is lost. A delay inhibitor makes the machine wait until the sleep handler, and
/// what it posted to the main executor, is done. Without logind the rest still works; a logind that comes
/// later is taken up.
class LinuxPowerEvents final : public QObject, public PowerEvents {
    Q_OBJECT

public:
    LinuxPowerEvents(Executor& main, const QDBusConnection& systemBus);
    ~LinuxPowerEvents() override;

    void start(Handlers handlers) override;

    /// The desktop session ends: runs `willTerminate`, unless it ran before, and then ends the application.
    void sessionIsEnding();

private Q_SLOTS:
    void prepareForSleep(bool begins);
    void prepareForShutdown(bool begins);

private:
    void connectToLogind();
    void takeInhibitor();
    void releaseInhibitorAfterPostedWork();
    void terminateOnce();

    Executor& main_;
    QDBusConnection bus_;
    Handlers handlers_;
    QDBusUnixFileDescriptor inhibitor_;
    std::unique_ptr<TerminationSignals> signals_;
    bool terminated_ = false;
};

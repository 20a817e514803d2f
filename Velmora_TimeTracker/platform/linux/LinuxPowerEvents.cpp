#include "LinuxPowerEvents.h"

#include "Executor.h"
#include "TerminationSignals.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QPointer>
#include <utility>

namespace {
const QString service = "org.freedesktop.login1";
const QString path = "/org/freedesktop/login1";
const QString interface = "org.freedesktop.login1.Manager";

/// exit() called from within a library, as Qt does when the X server is gone, emits no aboutToQuit. Before
/// anything else it destroys what is local to the calling thread.
struct AtExit {
    std::function<void()> run;
    ~AtExit() {
        if (run)
            run();
    }
};
thread_local AtExit atExit;
} // namespace

LinuxPowerEvents::LinuxPowerEvents(Executor& main, const QDBusConnection& systemBus)
    : main_(main)
    , bus_(systemBus) {}

LinuxPowerEvents::~LinuxPowerEvents() {
    atExit.run = nullptr;
}

void LinuxPowerEvents::start(Handlers handlers) {
    handlers_ = std::move(handlers);
    signals_ = std::make_unique<TerminationSignals>([this] { sessionIsEnding(); });
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            &LinuxPowerEvents::terminateOnce);
    atExit.run = [this] { terminateOnce(); };

    // The two subscriptions follow the name to whichever process owns it; the inhibitor belongs to the
    // process.
    bus_.connect(service, path, interface, "PrepareForSleep", this, SLOT(prepareForSleep(bool)));
    bus_.connect(service, path, interface, "PrepareForShutdown", this, SLOT(prepareForShutdown(bool)));
    auto* watcher = new QDBusServiceWatcher(service, bus_, QDBusServiceWatcher::WatchForRegistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, &LinuxPowerEvents::takeInhibitor);
    takeInhibitor();
}

void LinuxPowerEvents::sessionIsEnding() {
    terminateOnce();
    // Not quit(), which asks the windows first: they only hide.
    QCoreApplication::exit();
}

void LinuxPowerEvents::prepareForSleep(bool begins) {
    if (begins) {
        if (handlers_.willSleep)
            handlers_.willSleep();
        releaseInhibitorAfterPostedWork();
    } else {
        if (handlers_.didWake)
            handlers_.didWake();
        takeInhibitor();
    }
}

void LinuxPowerEvents::prepareForShutdown(bool begins) {
    if (!begins)
        return;
    sessionIsEnding();
    releaseInhibitorAfterPostedWork();
}

void LinuxPowerEvents::takeInhibitor() {
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, "Inhibit");
    call << "sleep:shutdown"
         << "Velmora TimeTracker"
         << "Saves the tracked time"
         << "delay";
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *watcher;
        if (!reply.isError())
            inhibitor_ = reply.value();
        watcher->deleteLater(); // with the reply's own copy of the descriptor
    });
}

void LinuxPowerEvents::releaseInhibitorAfterPostedWork() {
    main_.post([self = QPointer(this)] {
        if (self)
            self->inhibitor_ = {};
    });
}

void LinuxPowerEvents::terminateOnce() {
    if (const auto handler = std::exchange(handlers_.willTerminate, nullptr))
        handler();
}

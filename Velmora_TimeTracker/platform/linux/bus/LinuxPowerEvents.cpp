#include "platform/linux/bus/LinuxPowerEvents.h"

#include "platform/Executor.h"
#include "platform/linux/base/TerminationSignals.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QPointer>
#include <QSocketNotifier>
#include <limits>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

namespace {
const QString service = "org.freedesktop.login1";
const QString path = "/org/freedesktop/login1";
const QString interface = "org.freedesktop.login1.Manager";

/// Shorter sleeps are ignored; reading two clocks in succession takes less.
constexpr std::chrono::seconds shortestSleep(1);

/// Qt calls exit() when the X server is lost, which emits no aboutToQuit. exit() first destroys thread-local objects,
/// so this one gets the chance to act.
struct AtExit {
    std::function<void()> run;
    ~AtExit() {
        if (run)
            run();
    }
};
thread_local AtExit atExit;
} // namespace

LinuxPowerEvents::LinuxPowerEvents(Executor& main, const QDBusConnection& systemBus,
                                   std::function<std::chrono::nanoseconds()> timeAsleep)
    : main_(main)
    , bus_(systemBus)
    , timeAsleep_(std::move(timeAsleep))
    , reportedSleep_(timeAsleep_()) {}

LinuxPowerEvents::~LinuxPowerEvents() {
    atExit.run = nullptr;
    if (clocksMoved_)
        close(static_cast<int>(clocksMoved_->socket()));
}

void LinuxPowerEvents::start(Handlers handlers) {
    handlers_ = std::move(handlers);
    signals_ = std::make_unique<TerminationSignals>([this] { sessionIsEnding(); });
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this, &LinuxPowerEvents::terminateOnce);
    atExit.run = [this] { terminateOnce(); };

    // The subscriptions follow the bus name to a new owner; the inhibitor belongs to one process.
    bus_.connect(service, path, interface, "PrepareForSleep", this, SLOT(prepareForSleep(bool)));
    bus_.connect(service, path, interface, "PrepareForShutdown", this, SLOT(prepareForShutdown(bool)));
    auto* watcher = new QDBusServiceWatcher(service, bus_, QDBusServiceWatcher::WatchForRegistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, &LinuxPowerEvents::takeInhibitor);
    takeInhibitor();
    watchClocks();
}

/// The kernel cancels this far-off timer each time the wall clock moves against the monotonic clock, as it does at
/// every wake: no polling is needed.
void LinuxPowerEvents::watchClocks() {
    const int timer = timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK);
    const itimerspec never{.it_interval = {}, .it_value = {std::numeric_limits<time_t>::max(), 0}};
    timerfd_settime(timer, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &never, nullptr);
    clocksMoved_ = std::make_unique<QSocketNotifier>(timer, QSocketNotifier::Read);
    connect(clocksMoved_.get(), &QSocketNotifier::activated, this, [this, timer] {
        quint64 expirations = 0;
        [[maybe_unused]] const ssize_t cancelled = read(timer, &expirations, sizeof expirations);
        lookForSleep();
    });
}

/// Also called after an announced sleep, before or after the signal of logind; the first of the two is the wake.
void LinuxPowerEvents::lookForSleep() {
    const auto asleep = timeAsleep_();
    const bool slept = asleep - std::exchange(reportedSleep_, asleep) >= shortestSleep;
    if (slept && handlers_.didWake)
        handlers_.didWake();
}

void LinuxPowerEvents::sessionIsEnding() {
    terminateOnce();
    // Not quit(): it closes the windows first, which only hides them.
    QCoreApplication::exit();
}

void LinuxPowerEvents::prepareForSleep(bool begins) {
    if (begins) {
        if (handlers_.willSleep)
            handlers_.willSleep();
        releaseInhibitorAfterPostedWork();
    } else {
        reportedSleep_ = timeAsleep_();
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
        watcher->deleteLater(); // closes the reply's copy of the descriptor
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

#include "platform/linux/base/TerminationSignals.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

// A signal handler gets only the signal number, so its pipe is global.
volatile sig_atomic_t wakeUp = -1;

void announce(int) {
    const int error = errno;
    const quint64 one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeUp, &one, sizeof one);
    errno = error;
}

// Not SIG_IGN, which child processes would inherit.
void ignore(int) {}

int openWakeUp() {
    wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return wakeUp;
}

} // namespace

TerminationSignals::TerminationSignals(std::function<void()> onSignal)
    : notifier_(openWakeUp(), QSocketNotifier::Read)
    , handled_{{{SIGTERM, announce, {}},
                {SIGINT, announce, {}},
                {SIGHUP, announce, {}},
                {SIGPIPE, ignore, {}},
                {SIGXFSZ, ignore, {}}}} {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [onSignal = std::move(onSignal)] {
        quint64 count = 0;
        if (read(wakeUp, &count, sizeof count) > 0)
            onSignal();
    });
    for (Handled& handled : handled_) {
        struct sigaction action {};
        action.sa_handler = handled.handler;
        action.sa_flags = SA_RESTART;
        sigaction(handled.signal, &action, &handled.previous);
    }
}

TerminationSignals::~TerminationSignals() {
    for (const Handled& handled : handled_)
        sigaction(handled.signal, &handled.previous, nullptr);
    notifier_.setEnabled(false);
    close(wakeUp);
}

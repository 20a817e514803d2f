#pragma once

#include <QSocketNotifier>
#include <array>
#include <csignal>
#include <functional>

/// Turns SIGTERM, SIGINT and SIGHUP into calls from the event loop of the constructing thread. While it
/// lives, a broken pipe and a file grown past its limit are errors of the write and do not end the process.
/// One at a time.
class TerminationSignals {
public:
    explicit TerminationSignals(std::function<void()> onSignal);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    struct Handled {
        int signal;
        void (*handler)(int);
        struct sigaction previous;
    };

    QSocketNotifier notifier_;
    std::array<Handled, 5> handled_;
};

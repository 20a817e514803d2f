#pragma once

#include <QSocketNotifier>
#include <array>
#include <csignal>
#include <functional>

/// Turns SIGTERM, SIGINT and SIGHUP into calls from the event loop of the constructing thread. During its lifetime a
/// broken pipe and an exceeded file size limit are write errors and do not end the process. One instance at a time.
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

#pragma once

#include <QObject>
#include <functional>

class QSocketNotifier;

/// Turns SIGTERM, SIGINT and SIGHUP into calls on the event loop of the constructing thread. While it lives,
/// a broken pipe and a file grown past its limit are errors of the write, and do not end the process. One at
/// a time.
class TerminationSignals final : public QObject {
public:
    explicit TerminationSignals(std::function<void()> onSignal);
    ~TerminationSignals() override;
};

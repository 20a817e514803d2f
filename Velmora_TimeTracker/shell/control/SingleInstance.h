#pragma once

#include <QLocalServer>
#include <QString>
#include <functional>
#include <memory>

/// Makes the program the only one for a user's configuration folder: holds a lock for its lifetime, and a socket by
/// which later starts ask the first to show its window. Main thread.
class SingleInstance {
public:
    /// Null if another process holds the lock: it has been asked to show its window, and this process should end.
    /// Blocks for at most three seconds. Creates `configurationFolder` if missing.
    static std::unique_ptr<SingleInstance> acquire(const QString& configurationFolder);

    ~SingleInstance();
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    /// Calls `handler` from the event loop for each later start. To be set before the event loop runs.
    void onActivationRequested(std::function<void()> handler) { handler_ = std::move(handler); }

private:
    SingleInstance(int lock, const QString& socket);
    void accept();

    const int lock_;
    QLocalServer server_;
    std::function<void()> handler_;
};

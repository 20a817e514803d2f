#pragma once

#include <QLocalServer>
#include <QString>
#include <functional>
#include <memory>

/// The right to be the one running program of a user's configuration folder: a lock held for life, and a
/// socket over which later starts ask the first one to come up. Main thread.
class SingleInstance {
public:
    /// Null when another process holds the right; that one has then been asked to come up, and this one
    /// should end. Blocks for at most three seconds. `configurationFolder` is made if need be.
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

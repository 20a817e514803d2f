#pragma once

#include <QJsonObject>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

namespace backend {

enum class FaultKind {
    status,      ///< answers with a status (and body) of its own, without handling
    delay,       ///< handles after some seconds
    hang,        ///< never answers; gives the connection up after a minute
    resetBefore, ///< resets the connection without handling
    resetAfter,  ///< handles, then resets the connection without an answer
    truncate,    ///< handles, then sends half of the body that it announced
};

struct Fault {
    QString path; ///< a part of the path of the requests it strikes; empty strikes every one
    qint64 count; ///< how many of them are left
    FaultKind kind;
    int status;
    QString body; ///< of the kind `status`; empty gives a message
    double seconds;
};

/// Faults waiting to strike, oldest first. The server's mutex guards it.
class Faults {
public:
    /// Refusal 422 for a fault of unknown form.
    void add(const QJsonObject& body);
    /// Drops what has not struck, and ends all delays and hangs that run.
    void reset();
    /// The fault that strikes a request of this path, if any; it is used up by one.
    std::optional<Fault> take(const QString& path);
    /// Gives up the lock for these seconds, or until the next reset.
    void wait(std::unique_lock<std::mutex>& lock, double seconds);

private:
    std::vector<Fault> waiting;
    std::condition_variable changed;
    int resets = 0;
};

} // namespace backend

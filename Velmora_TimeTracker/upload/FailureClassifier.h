#pragma once

#include "model/UploadTask.h"

#include <QString>
#include <exception>
#include <optional>
#include <variant>

/// A local failure: the file of a screenshot task does not exist.
class UploadServiceError : public std::exception {
public:
    static UploadServiceError fileNotFound() { return {}; }
    const char* what() const noexcept override { return "fileNotFound"; }
};

/// The action for a failed task.
namespace UploadFailureAction {
struct TakenOver {
    int statusCode;
};
struct DropPermanently {
    bool deleteFile;
};
/// Retry later; the server refused the task or failed on it, so the attempt counts.
struct Retry {
    std::optional<int> statusCode;
};
/// Retry later; the server did not judge the task, so the attempt does not count. The status, if any, is that of a
/// server that is down, and is passed to the circuit breaker.
struct RescheduleOffline {
    std::optional<int> statusCode;
};
using Action = std::variant<TakenOver, DropPermanently, Retry, RescheduleOffline>;
} // namespace UploadFailureAction

/// State of the start of the task's session. A server that accepted it may report later that it no longer knows the
/// session.
enum class SessionStart { accepted, waiting, refused };

struct FailedTask {
    UploadTaskType type;
    SessionStart start = SessionStart::accepted;
    bool isServerDown = false; ///< The circuit breaker has opened, and no task has succeeded since.
};

/// Returns the action for a failure (an APIError, a URLError or another exception). Pure; any thread.
UploadFailureAction::Action failureAction(const std::exception_ptr& failure, const FailedTask& task);

/// The delay that the server asked for by the header Retry-After (seconds or a date) of a 429 or 503: 0 to 3600
/// seconds, 0 without one. Pure; any thread.
Seconds requestedDelay(const std::exception_ptr& failure, Date now);

/// The failure's text for the log.
QString failureDescription(const std::exception_ptr& failure);

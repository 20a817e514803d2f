#pragma once

#include "model/UploadTask.h"

#include <QString>
#include <exception>
#include <optional>
#include <variant>

/// The pipeline's own failure: the file of a screenshot task is gone.
class UploadServiceError : public std::exception {
public:
    static UploadServiceError fileNotFound() { return {}; }
    const char* what() const noexcept override { return "fileNotFound"; }
};

/// What to do about a failed task.
namespace UploadFailureAction {
struct TakenOver {
    int statusCode;
};
struct DropPermanently {
    bool deleteFile;
};
/// The server refused the task or failed over it: an attempt is counted.
struct Retry {
    std::optional<int> statusCode;
};
/// Nothing was learned about the task: it is tried again, and no attempt is counted. The status, if any, is that of a
/// server that is down, and concerns the circuit.
struct RescheduleOffline {
    std::optional<int> statusCode;
};
using Action = std::variant<TakenOver, DropPermanently, Retry, RescheduleOffline>;
} // namespace UploadFailureAction

/// What became of the start of the session that a task belongs to. Only of an accepted one can the server say that it
/// no longer knows the session.
enum class SessionStart { accepted, waiting, refused };

struct FailedTask {
    UploadTaskType type;
    SessionStart start = SessionStart::accepted;
    bool isServerDown = false; ///< The circuit has opened, and nothing has succeeded since.
};

/// Sorts a failure (an APIError, a URLError, or anything else) into its action. Pure; any thread.
UploadFailureAction::Action failureAction(const std::exception_ptr& failure, const FailedTask& task);

/// How long the server asked to be left alone, by the header Retry-After of a 429 or 503: seconds or a date. 0 to 3600
/// seconds; 0 when it did not ask. Pure; any thread.
Seconds requestedDelay(const std::exception_ptr& failure, Date now);

/// The failure's text for the log.
QString failureDescription(const std::exception_ptr& failure);

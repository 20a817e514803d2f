#pragma once

#include "UploadTask.h"

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
struct Retry {
    std::optional<int> statusCode;
};
struct RescheduleOffline {};
using Action = std::variant<TakenOver, DropPermanently, Retry, RescheduleOffline>;
} // namespace UploadFailureAction

/// What became of the start of the session that a task belongs to. Only of an accepted one can the server say that it
/// no longer knows the session.
enum class SessionStart { accepted, waiting, refused };

/// Sorts a failure (an APIError, a URLError, or anything else) into its action. Pure; any thread.
UploadFailureAction::Action failureAction(const std::exception_ptr& failure, UploadTaskType taskType,
                                          SessionStart start);

/// The failure's text for the log.
QString failureDescription(const std::exception_ptr& failure);

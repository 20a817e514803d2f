#pragma once

#include "UploadTask.h"

#include <QString>
#include <exception>
#include <optional>
#include <variant>

/// The file of a screenshot task is gone.
class FileNotFound : public std::exception {
public:
    const char* what() const noexcept override { return "fileNotFound"; }
};

/// What to do about a failed task.
namespace UploadFailureAction {
struct TakenOver {
    int statusCode;
    friend bool operator==(const TakenOver&, const TakenOver&) = default;
};
struct DropPermanently {
    bool deleteFile;
    friend bool operator==(const DropPermanently&, const DropPermanently&) = default;
};
struct Retry {
    std::optional<int> statusCode;
    friend bool operator==(const Retry&, const Retry&) = default;
};
struct RescheduleOffline {
    friend bool operator==(const RescheduleOffline&, const RescheduleOffline&) = default;
};
using Action = std::variant<TakenOver, DropPermanently, Retry, RescheduleOffline>;
} // namespace UploadFailureAction

/// Sorts a failure (an APIError, a URLError, or anything else) into its action. Pure.
UploadFailureAction::Action failureAction(const std::exception_ptr& failure, UploadTaskType taskType);

/// The failure's text for the log.
QString failureDescription(const std::exception_ptr& failure);

bool isFileNotFound(const std::exception_ptr& failure);

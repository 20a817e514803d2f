#include "FailureClassifier.h"

#include "APIError.h"
#include "URLSession.h"

using namespace UploadFailureAction;

namespace {

Action notFound(SessionStart start) {
    switch (start) {
    case SessionStart::accepted:
        return TakenOver{404};
    case SessionStart::waiting:
        return RescheduleOffline{};
    case SessionStart::refused:
        return DropPermanently{false};
    }
    return RescheduleOffline{};
}

Action actionForStatus(int status, UploadTaskType type, SessionStart start) {
    switch (status) {
    case 404:
        if (type == UploadTaskType::heartbeat)
            return notFound(start);
        [[fallthrough]];
    case 409:
        if (type == UploadTaskType::heartbeat)
            return TakenOver{status};
        if (type == UploadTaskType::startSession)
            return DropPermanently{false};
        break;
    case 400:
        if (type == UploadTaskType::heartbeat || type == UploadTaskType::activitySegment)
            return DropPermanently{false};
        break;
    case 413:
        if (type == UploadTaskType::screenshot)
            return DropPermanently{true};
        break;
    case 422:
        return DropPermanently{type == UploadTaskType::screenshot};
    default:
        break;
    }
    return Retry{status};
}

} // namespace

Action failureAction(const std::exception_ptr& failure, UploadTaskType taskType, SessionStart start) {
    try {
        std::rethrow_exception(failure);
    } catch (const URLError& error) {
        if (error.isOffline())
            return RescheduleOffline{};
    } catch (const APIError& error) {
        if (error.kind() == APIError::Kind::serverError)
            return actionForStatus(error.statusCode(), taskType, start);
    } catch (...) {
        // Anything else says nothing about the server: it is tried again.
    }
    return Retry{std::nullopt};
}

QString failureDescription(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const APIError& error) {
        return error.localizedDescription();
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    } catch (...) {
        return "unknown error";
    }
}

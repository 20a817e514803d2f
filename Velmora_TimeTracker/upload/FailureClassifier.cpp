#include "upload/FailureClassifier.h"

#include "platform/URLSession.h"
#include "server/APIError.h"

#include <QLocale>
#include <algorithm>

using namespace Qt::StringLiterals;

using namespace UploadFailureAction;

namespace {

constexpr int proxyAuthenticationRequired = 407;
constexpr int tooManyRequests = 429;
constexpr int serviceUnavailable = 503;
constexpr int networkAuthenticationRequired = 511;

/// True if the reply is not from the server: no HTTP response, a redirect without target, a proxy.
bool isNoVerdict(int status) {
    return status < 200 || (status >= 300 && status < 400) || status == proxyAuthenticationRequired ||
           status == networkAuthenticationRequired;
}

Action unknownSession(SessionStart start) {
    switch (start) {
    case SessionStart::accepted:
        return TakenOver{404};
    case SessionStart::waiting:
        return RescheduleOffline{};
    case SessionStart::refused:
        break;
    }
    return DropPermanently{false};
}

Action actionForStatus(int status, const FailedTask& task) {
    if (isNoVerdict(status))
        return RescheduleOffline{};
    switch (status) {
    case 404:
        if (task.type == UploadTaskType::heartbeat)
            return unknownSession(task.start);
        [[fallthrough]];
    case 409:
        if (task.type == UploadTaskType::heartbeat)
            return TakenOver{status};
        if (task.type == UploadTaskType::startSession)
            return DropPermanently{false};
        break;
    case 400:
        if (task.type == UploadTaskType::heartbeat || task.type == UploadTaskType::activitySegment)
            return DropPermanently{false};
        break;
    case 413:
        if (task.type == UploadTaskType::screenshot)
            return DropPermanently{true};
        break;
    case 422:
        return DropPermanently{task.type == UploadTaskType::screenshot};
    default:
        break;
    }
    if (task.isServerDown && (status >= 500 || status == tooManyRequests))
        return RescheduleOffline{status};
    return Retry{status};
}

/// "120", or "Wed, 15 May 2024 09:00:00 GMT"; 0 for anything else.
Seconds secondsUntil(const QByteArray& retryAfter, Date now) {
    bool isNumber = false;
    const qulonglong seconds = retryAfter.toULongLong(&isNumber);
    if (isNumber)
        return static_cast<Seconds>(seconds);
    QDateTime date = QLocale::c().toDateTime(QString::fromLatin1(retryAfter), u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s);
    date.setTimeSpec(Qt::UTC);
    return date.isValid() ? Date::fromDateTime(date) - now : 0;
}

} // namespace

Action failureAction(const std::exception_ptr& failure, const FailedTask& task) {
    try {
        std::rethrow_exception(failure);
    } catch (const URLError&) {
        return RescheduleOffline{};
    } catch (const APIError& error) {
        if (error.kind() == APIError::Kind::serverError)
            return actionForStatus(error.statusCode(), task);
    } catch (...) {
        // Other failures do not concern the server: retry.
    }
    return Retry{};
}

Seconds requestedDelay(const std::exception_ptr& failure, Date now) {
    constexpr Seconds longest = 3600;
    try {
        std::rethrow_exception(failure);
    } catch (const APIError& error) {
        if (error.statusCode() == tooManyRequests || error.statusCode() == serviceUnavailable)
            return std::clamp(secondsUntil(error.retryAfter(), now), 0.0, longest);
    } catch (...) {
        // The server did not ask for a delay.
    }
    return 0;
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

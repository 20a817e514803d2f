#include "platform/linux/network/NetworkErrorMapping.h"

std::optional<URLError::Code> NetworkErrorMapping::transportFailure(QNetworkReply::NetworkError error,
                                                                    std::optional<int> status) {
    using Code = URLError::Code;
    switch (error) {
    case QNetworkReply::NoError:
        return std::nullopt;

    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::UnknownProxyError:
        return Code::cannotConnectToHost;
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::TemporaryNetworkFailureError:
        return Code::networkConnectionLost;
    case QNetworkReply::HostNotFoundError: // also reported if the resolver is unreachable
    case QNetworkReply::ProxyNotFoundError:
        return Code::cannotFindHost;
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::UnknownNetworkError: // includes an unreachable network or host
        return Code::notConnectedToInternet;
    case QNetworkReply::BackgroundRequestNotAllowedError:
        return Code::dataNotAllowed;
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ProxyTimeoutError:
        return Code::timedOut;
    case QNetworkReply::OperationCanceledError:
        return Code::cancelled;

    case QNetworkReply::SslHandshakeFailedError:
    case QNetworkReply::TooManyRedirectsError:
    case QNetworkReply::InsecureRedirectError:
    case QNetworkReply::ProtocolUnknownError:
    case QNetworkReply::ProtocolFailure:
        return Code::other;

    case QNetworkReply::ProxyAuthenticationRequiredError:
    case QNetworkReply::ContentAccessDenied:
    case QNetworkReply::ContentOperationNotPermittedError:
    case QNetworkReply::ContentNotFoundError:
    case QNetworkReply::AuthenticationRequiredError:
    case QNetworkReply::ContentReSendError:
    case QNetworkReply::ContentConflictError:
    case QNetworkReply::ContentGoneError:
    case QNetworkReply::UnknownContentError:
    case QNetworkReply::ProtocolInvalidOperationError:
    case QNetworkReply::InternalServerError:
    case QNetworkReply::OperationNotImplementedError:
    case QNetworkReply::ServiceUnavailableError:
    case QNetworkReply::UnknownServerError:
        break; // repeats the status; without one, for instance a body that does not decompress
    }
    return status.value_or(0) >= 400 ? std::nullopt : std::optional(Code::other);
}

#include "NetworkErrorMapping.h"

#include <QMetaEnum>
#include <gtest/gtest.h>
#include <map>

namespace {

using Reply = QNetworkReply;
using Code = URLError::Code;

// What a failure without any HTTP status means.
const std::map<Reply::NetworkError, std::optional<Code>> transport{
    {Reply::NoError, std::nullopt},
    {Reply::ConnectionRefusedError, Code::cannotConnectToHost},
    {Reply::RemoteHostClosedError, Code::networkConnectionLost},
    {Reply::HostNotFoundError, Code::cannotFindHost},
    {Reply::TimeoutError, Code::timedOut},
    {Reply::OperationCanceledError, Code::cancelled},
    {Reply::SslHandshakeFailedError, Code::other},
    {Reply::TemporaryNetworkFailureError, Code::networkConnectionLost},
    {Reply::NetworkSessionFailedError, Code::notConnectedToInternet},
    {Reply::BackgroundRequestNotAllowedError, Code::dataNotAllowed},
    {Reply::TooManyRedirectsError, Code::other},
    {Reply::InsecureRedirectError, Code::other},
    {Reply::UnknownNetworkError, Code::notConnectedToInternet},
    {Reply::ProxyConnectionRefusedError, Code::cannotConnectToHost},
    {Reply::ProxyConnectionClosedError, Code::networkConnectionLost},
    {Reply::ProxyNotFoundError, Code::cannotFindHost},
    {Reply::ProxyTimeoutError, Code::timedOut},
    {Reply::UnknownProxyError, Code::cannotConnectToHost},
    {Reply::ProtocolUnknownError, Code::other},
    {Reply::ProtocolFailure, Code::other},
};

// Errors that name a status: a response when there is one, else a failure.
const std::map<Reply::NetworkError, int> statuses{
    {Reply::ProtocolInvalidOperationError, 400},
    {Reply::AuthenticationRequiredError, 401},
    {Reply::ContentAccessDenied, 403},
    {Reply::ContentNotFoundError, 404},
    {Reply::ContentOperationNotPermittedError, 405},
    {Reply::ProxyAuthenticationRequiredError, 407},
    {Reply::ContentConflictError, 409},
    {Reply::ContentGoneError, 410},
    {Reply::ContentReSendError, 422},
    {Reply::UnknownContentError, 429},
    {Reply::InternalServerError, 500},
    {Reply::OperationNotImplementedError, 501},
    {Reply::ServiceUnavailableError, 503},
    {Reply::UnknownServerError, 599},
};

TEST(NetworkErrorMappingTest, EveryErrorHasOneMeaning) {
    const auto enumerators = QMetaEnum::fromType<Reply::NetworkError>();
    for (int i = 0; i < enumerators.keyCount(); ++i) {
        const auto error = static_cast<Reply::NetworkError>(enumerators.value(i));
        SCOPED_TRACE(enumerators.key(i));
        if (const auto found = statuses.find(error); found != statuses.end()) {
            EXPECT_EQ(NetworkErrorMapping::transportFailure(error, found->second), std::nullopt);
            EXPECT_EQ(NetworkErrorMapping::transportFailure(error, 200), Code::other);
            EXPECT_EQ(NetworkErrorMapping::transportFailure(error, std::nullopt), Code::other);
        } else {
            ASSERT_TRUE(transport.contains(error));
            for (const std::optional<int> status :
                 {std::optional<int>(), std::optional(200), std::optional(500)})
                EXPECT_EQ(NetworkErrorMapping::transportFailure(error, status), transport.at(error));
        }
    }
}

} // namespace

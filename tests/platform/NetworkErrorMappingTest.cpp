#include "NetworkErrorMapping.h"

#include <QMetaEnum>
#include <gtest/gtest.h>
#include <map>

/// All errors that are not in the table name a status: a response when there is one, else a failure.
TEST(NetworkErrorMappingTest, EveryErrorHasOneMeaning) {
    using Reply = QNetworkReply;
    using Code = URLError::Code;
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
    const auto errors = QMetaEnum::fromType<Reply::NetworkError>();
    for (int i = 0; i < errors.keyCount(); ++i) {
        const auto error = static_cast<Reply::NetworkError>(errors.value(i));
        for (const std::optional<int> status : {std::optional<int>(), {200}, {400}, {503}}) {
            const auto spoken = status.value_or(0) >= 400 ? std::nullopt : std::optional(Code::other);
            const auto expected = transport.contains(error) ? transport.at(error) : spoken;
            EXPECT_EQ(NetworkErrorMapping::transportFailure(error, status), expected) << errors.key(i);
        }
    }
}

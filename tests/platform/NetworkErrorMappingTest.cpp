#include "NetworkErrorMapping.h"

#include <QMetaEnum>
#include <gtest/gtest.h>
#include <map>

using Reply = QNetworkReply;
using Code = URLError::Code;

TEST(NetworkErrorMappingTest, EveryErrorHasOneMeaning) {
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
    // All others name a status: a response when there is one, else a failure.
    using Status = std::optional<int>;
    const auto enumerators = QMetaEnum::fromType<Reply::NetworkError>();
    for (int i = 0; i < enumerators.keyCount(); ++i) {
        const auto error = static_cast<Reply::NetworkError>(enumerators.value(i));
        const auto found = transport.find(error);
        for (const Status& status : {Status(), Status(200), Status(400), Status(503)}) {
            const bool isResponse = status.value_or(0) >= 400;
            EXPECT_EQ(NetworkErrorMapping::transportFailure(error, status),
                      found != transport.end() ? found->second
                      : isResponse             ? std::nullopt
                                               : std::optional(Code::other))
                << enumerators.key(i) << " with " << status.value_or(0);
        }
    }
}

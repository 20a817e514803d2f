#include "platform/linux/network/LinuxURLSession.h"

#include "platform/linux/network/NetworkErrorMapping.h"
#include "tests/support/LoopbackServer.h"

#include <QMetaEnum>
#include <QProcess>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <gtest/gtest.h>
#include <map>

using namespace Qt::StringLiterals;

namespace {

using Code = URLError::Code;

struct LinuxURLSessionTest : testing::Test {
    LinuxURLSession session{"tests/1"};

    URLSession::Result answerAt(const QUrl& url, Seconds timeout = 60) {
        return answerOver(session, {url, "GET", {{"Authorization", "Bearer abc"}}, {}, timeout});
    }
    URLSession::Result answerOf(const LoopbackServer::Script& script, Seconds timeout = 60) {
        const LoopbackServer server(script);
        const auto result = answerAt(server.url(), timeout);
        EXPECT_TRUE(eventually([&] { return !server.findChild<QTcpSocket*>(); }))
            << "the connection of an ended exchange stays";
        return result;
    }
};

std::optional<Code> failure(const URLSession::Result& result) {
    const auto* error = std::get_if<URLError>(&result);
    return error ? std::optional(error->code()) : std::nullopt;
}

TEST_F(LinuxURLSessionTest, EveryStatusIsAResponseWithItsBodyAndHeaders) {
    for (const int status : {200, 401, 407, 409, 413, 503}) {
        const auto answer = std::get<URLResponse>(
            answerOf(saying(response(status, "a body", "X-Seen: a\r\nWWW-Authenticate: Basic realm=\"a\"\r\n"))));
        EXPECT_EQ(answer.statusCode, status);
        EXPECT_EQ(answer.body, "a body");
        EXPECT_TRUE(std::ranges::count(answer.headers, std::pair<QByteArray, QByteArray>("X-Seen", "a")));
    }
}

TEST_F(LinuxURLSessionTest, NoProgressTimesOutAndProgressIsBoundedByTheDeadline) {
    const auto dripping = [](QTcpSocket& socket, const URLRequest&) {
        QObject::connect(&socket, &QTcpSocket::bytesWritten, [&socket] { socket.write("x"); });
        socket.write("HTTP/1.1 200 OK\r\n\r\n");
    };
    const auto words = [&](const LoopbackServer::Script& script) {
        const auto result = answerOf(script, 0.2);
        EXPECT_EQ(failure(result), Code::timedOut);
        return std::get<URLError>(result).localizedDescription();
    };
    for (const char* beginning : {"", "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nten bytes."})
        EXPECT_EQ(words(stallingAfter(beginning)), "The request timed out");
    // Where the machine itself stalls, one that drips may time out too.
    EXPECT_TRUE(eventually([&] { return words(dripping) == "The exchange took too long"; }));
}

TEST_F(LinuxURLSessionTest, BodiesAreBoundedAlsoWhenTheyUnfold) {
    const QByteArray most(LinuxURLSession::maximumBody, 'a');
    EXPECT_EQ(std::get<URLResponse>(answerOf(saying(response(200, most)))).body.size(), most.size());
    EXPECT_EQ(failure(answerOf(saying(response(200, most + "a")))), Code::other);
    EXPECT_EQ(failure(answerOf(stallingAfter("HTTP/1.1 200 OK\r\n\r\n" + most + "a"))), Code::other);
    for (const QByteArray& body : {qCompress(most + "a", 9).mid(4), QByteArray("not deflated")})
        EXPECT_EQ(failure(answerOf(saying(response(200, body, "Content-Encoding: deflate\r\n")))), Code::other);
}

TEST_F(LinuxURLSessionTest, RedirectsStayWithinTheOriginAndNoCookieIsKept) {
    QByteArray target = "/end";
    const LoopbackServer server([&](QTcpSocket& socket, const URLRequest& request) {
        const QByteArray headers = "Set-Cookie: id=secret; Path=/\r\nLocation: " + target + "\r\n";
        saying(response(request.url.path() == "/end" ? 200 : 307, "end", headers))(socket, request);
    });
    URLRequest sent{server.url("/begin"), "POST", {{"Authorization", "Bearer abc"}}, "body of a request"};
    sent.setHeader("Content-Type", "a/b");
    EXPECT_EQ(failure(answerOver(session, sent)), std::nullopt);
    ASSERT_EQ(server.requests.size(), 2U);
    const URLRequest& followed = server.requests[1];
    EXPECT_TRUE(followed.method == "POST" && followed.body == sent.body);
    EXPECT_EQ(followed.header("Authorization"), "Bearer abc");
    EXPECT_EQ(followed.header("Cookie"), "");

    const LoopbackServer elsewhere(saying(response(200, "")));
    for (const QByteArray& refused :
         {elsewhere.url().toEncoded(), QByteArray("file:///etc/passwd"), QByteArray("/begin")}) {
        target = refused; // the last one is a circle
        EXPECT_EQ(failure(answerAt(server.url("/begin"))), Code::other) << refused.constData();
    }
    EXPECT_EQ(failure(answerAt(QUrl("file:///etc/passwd"))), Code::other);
}

TEST_F(LinuxURLSessionTest, RedirectsThatTurnAPostIntoAGetFail) {
    for (const int status : {301, 302, 303, 307, 308}) {
        const LoopbackServer server([&](QTcpSocket& socket, const URLRequest& request) {
            const bool isEnd = request.url.path() == "/end";
            saying(response(isEnd ? 200 : status, "", "Location: /end\r\n"))(socket, request);
        });
        EXPECT_EQ(failure(answerAt(server.url("/begin"))), std::nullopt) << status;
        URLRequest post{server.url("/begin"), "POST", {{"Content-Type", "a/b"}}, "body"};
        const bool keepsMethod = status > 303;
        EXPECT_EQ(failure(answerOver(session, post)), keepsMethod ? std::nullopt : std::optional(Code::other));
        EXPECT_EQ(server.requests.size(), keepsMethod ? 4U : 3U) << status;
        EXPECT_TRUE(!keepsMethod || (server.requests[3].method == "POST" && server.requests[3].body == "body"));
    }
}

TEST_F(LinuxURLSessionTest, AnUntrustedCertificateFailsBeforeAnythingIsSent) {
    QProcess openssl;
    openssl.startCommand("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=localhost "
                         "-keyout /dev/stdout -out /dev/stdout");
    ASSERT_TRUE(openssl.waitForFinished());
    const QByteArray pem = openssl.readAllStandardOutput();
    QSslConfiguration configuration;
    configuration.setPrivateKey(QSslKey(pem, QSsl::Rsa));
    configuration.setLocalCertificate(QSslCertificate(pem));
    QSslServer server;
    server.setSslConfiguration(configuration);
    int begun = 0, trusted = 0;
    QObject::connect(&server, &QSslServer::startedEncryptionHandshake, [&] { ++begun; });
    QObject::connect(&server, &QTcpServer::pendingConnectionAvailable, [&] { ++trusted; });
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    const QUrl url(u"https://localhost:%1/"_s.arg(server.serverPort()));
    EXPECT_EQ(failure(answerAt(url)), Code::other);
    EXPECT_TRUE(begun > 0 && trusted == 0);
}

TEST_F(LinuxURLSessionTest, EveryExchangeIsAnsweredOnceAlsoAtTheEnd) {
    const LoopbackServer silent(stallingAfter(""));
    std::atomic<int> cancelled = 0;
    const auto send = [&] {
        session.send({silent.url(), "GET", {}, {}},
                     [&](const auto& result) { cancelled += failure(result) == Code::cancelled; });
    };
    for (int i = 0; i < 50; ++i)
        send();
    session.stop();
    EXPECT_EQ(cancelled, 50);
    send();
    EXPECT_EQ(cancelled, 51) << "after the end there is an answer at once";
}

/// All errors that are not in the table name a status: a response when there is one, else a failure.
TEST(NetworkErrorMappingTest, EveryErrorHasOneMeaning) {
    using Reply = QNetworkReply;
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

} // namespace

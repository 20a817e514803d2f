#include "LinuxURLSession.h"

#include "Eventually.h"
#include "LoopbackServer.h"
#include "NetworkErrorMapping.h"
#include "QtExecutor.h"

#include <QProcess>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

using Code = URLError::Code;

const QByteArray sentBody = "body of a request";

struct LinuxURLSessionTest : testing::Test {
    MainExecutor main;
    LinuxURLSession session;

    URLSession::Result exchange(const QUrl& url, const QByteArray& body = {}, Seconds timeout = 60) {
        URLRequest request;
        request.url = url;
        request.method = body.isEmpty() ? "GET" : "POST";
        request.headers = {{"Authorization", "Bearer abc"}, {"Content-Type", "a/b"}};
        request.body = body;
        request.timeout = timeout;
        std::optional<URLSession::Result> answer;
        session.send(request, [&](const URLSession::Result& result) {
            main.post([&answer, result] { answer = result; });
        });
        if (!eventually([&] { return answer.has_value(); }))
            qFatal("no answer"); // and one that still comes must find its place
        return *answer;
    }
    URLSession::Result answerOf(const LoopbackServer::Script& script, Seconds timeout = 60) {
        const LoopbackServer server(script);
        const auto result = exchange(server.url(), {}, timeout);
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
        const auto answer = std::get<URLResponse>(answerOf(
            saying(response(status, "a body", "X-Seen: a\r\nWWW-Authenticate: Basic realm=\"a\"\r\n"))));
        EXPECT_EQ(answer.statusCode, status);
        EXPECT_EQ(answer.body, "a body");
        EXPECT_TRUE(std::ranges::count(answer.headers, std::pair<QByteArray, QByteArray>("X-Seen", "a")));
    }
}

TEST_F(LinuxURLSessionTest, NoProgressTimesOutAndProgressIsBoundedByTheDeadline) {
    const auto dripping = [](QTcpSocket& socket, const QByteArray&) {
        socket.write("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
        auto* timer = new QTimer(&socket);
        QObject::connect(timer, &QTimer::timeout, [&socket] { socket.write("x"); });
        timer->start(5);
    };
    const auto words = [&](const LoopbackServer::Script& script) {
        const auto result = answerOf(script, 0.2);
        EXPECT_EQ(failure(result), Code::timedOut);
        return std::get<URLError>(result).localizedDescription();
    };
    EXPECT_EQ(words(stallingAfter("")), "The request timed out");
    EXPECT_EQ(words(stallingAfter("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nten bytes.")),
              "The request timed out");
    // Where the machine itself stalls, one that drips may time out too.
    EXPECT_TRUE(eventually([&] { return words(dripping) == "The exchange took too long"; }));
}

TEST_F(LinuxURLSessionTest, BodiesAreBoundedAlsoWhenTheyUnfold) {
    const QByteArray most(LinuxURLSession::maximumBody, 'a');
    EXPECT_EQ(std::get<URLResponse>(answerOf(saying(response(200, most)))).body.size(), most.size());
    EXPECT_EQ(failure(answerOf(saying(response(200, most + "a")))), Code::other);
    const auto endless = [](QTcpSocket& socket, const QByteArray&) {
        QObject::connect(&socket, &QTcpSocket::bytesWritten, [&socket] {
            if (socket.bytesToWrite() == 0)
                socket.write(QByteArray(65536, 'b'));
        });
        socket.write("HTTP/1.1 200 OK\r\n\r\n");
    };
    EXPECT_EQ(failure(answerOf(endless)), Code::other);
    for (const QByteArray& body : {qCompress(most + "a", 9).mid(4), QByteArray("not deflated")})
        EXPECT_EQ(failure(answerOf(saying(response(200, body, "Content-Encoding: deflate\r\n")))),
                  Code::other);
}

TEST_F(LinuxURLSessionTest, RedirectsStayWithinTheOriginAndNoCookieIsKept) {
    QByteArrayList seen;
    QByteArray target = "/end";
    const LoopbackServer server([&](QTcpSocket& socket, const QByteArray& request) {
        seen.push_back(request);
        const QByteArray headers = "Set-Cookie: id=secret; Path=/\r\nLocation: " + target + "\r\n";
        saying(response(request.contains(" /end ") ? 200 : 307, "end", headers))(socket, request);
    });
    EXPECT_EQ(failure(exchange(server.url("/begin"), sentBody)), std::nullopt);
    ASSERT_EQ(seen.size(), 2);
    EXPECT_TRUE(seen[1].startsWith("POST /end ") && seen[1].endsWith("\r\n\r\n" + sentBody));
    EXPECT_TRUE(seen[1].contains("Authorization: Bearer abc\r\n"));
    EXPECT_FALSE(seen[1].toLower().contains("cookie:"));

    const LoopbackServer elsewhere(saying(response(200, "")));
    for (const QByteArray& refused :
         {elsewhere.url().toEncoded(), QByteArray("file:///etc/passwd"), QByteArray("/begin")}) {
        target = refused; // the last one is a circle
        EXPECT_EQ(failure(exchange(server.url("/begin"))), Code::other) << refused.constData();
    }
}

TEST_F(LinuxURLSessionTest, FailuresAreToldApart) {
    EXPECT_EQ(failure(answerOf(saying("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\ntruncated"))),
              Code::networkConnectionLost);
    EXPECT_EQ(failure(answerOf(saying(""))), Code::networkConnectionLost);
    const QUrl closed = std::make_unique<LoopbackServer>(saying(""))->url();
    EXPECT_EQ(failure(exchange(closed)), Code::cannotConnectToHost);
    EXPECT_EQ(failure(exchange(QUrl("http://host.invalid/"))), Code::cannotFindHost);
    EXPECT_EQ(failure(exchange(QUrl("file:///etc/passwd"))), Code::other);
    // What an unreachable network becomes.
    EXPECT_EQ(NetworkErrorMapping::transportFailure(QNetworkReply::UnknownNetworkError, std::nullopt),
              Code::notConnectedToInternet);
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
    EXPECT_EQ(failure(exchange(QUrl(QString("https://localhost:%1/").arg(server.serverPort())))),
              Code::other);
    EXPECT_TRUE(begun > 0 && trusted == 0);
}

TEST_F(LinuxURLSessionTest, EveryExchangeIsAnsweredOnceAlsoAtTheEnd) {
    const LoopbackServer silent(stallingAfter(""));
    URLRequest request;
    request.url = silent.url();
    std::atomic<int> cancelled = 0;
    const auto count = [&](const URLSession::Result& result) {
        cancelled += failure(result) == Code::cancelled;
    };
    for (int i = 0; i < 50; ++i)
        session.send(request, count);
    session.stop();
    EXPECT_EQ(cancelled, 50);
    session.send(request, count);
    EXPECT_EQ(cancelled, 51) << "after the end there is an answer at once";
}

} // namespace

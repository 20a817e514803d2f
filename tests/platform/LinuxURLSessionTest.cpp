#include "LinuxURLSession.h"

#include "Eventually.h"
#include "LoopbackServer.h"

#include <QFile>
#include <QProcess>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QTemporaryDir>
#include <algorithm>
#include <gtest/gtest.h>

namespace {

using Code = URLError::Code;
using Connection = LoopbackServer::Connection;

URLRequest to(const QUrl& url) {
    URLRequest request;
    request.url = url;
    return request;
}

struct LinuxURLSessionTest : testing::Test {
    LinuxURLSession session;

    URLSession::Result exchange(const QUrl& url, const QByteArray& body = {}, Seconds timeout = 60) {
        URLRequest request = to(url);
        request.method = body.isEmpty() ? "GET" : "POST";
        request.headers = {{"Authorization", "Bearer abc"}, {"Content-Type", "a/b"}};
        request.body = body;
        request.timeout = timeout;
        std::promise<URLSession::Result> promise;
        auto answer = promise.get_future();
        session.send(request, [&](URLSession::Result result) { promise.set_value(std::move(result)); });
        if (!eventually(
                [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }))
            qFatal("no answer"); // the promise must not go away before it is kept
        return answer.get();
    }
    URLSession::Result answerOf(const LoopbackServer::Script& script, Seconds timeout = 60) {
        const LoopbackServer server(script);
        const auto result = exchange(server.url(), {}, timeout);
        EXPECT_TRUE(eventually([&] { return !server.isServing(); }))
            << "the connection of an ended exchange stays";
        return result;
    }
};

std::optional<Code> failure(const URLSession::Result& result) {
    const auto* error = std::get_if<URLError>(&result);
    return error ? std::optional(error->code()) : std::nullopt;
}

TEST_F(LinuxURLSessionTest, EveryStatusIsAResponseWithItsBodyAndHeaders) {
    for (const int status : {200, 304, 401, 404, 407, 409, 413, 500, 503}) {
        const QByteArray body = status == 304 ? "" : R"({"message":"text"})";
        const auto result = answerOf([&](Connection& connection) {
            connection.say(LoopbackServer::response(status, body,
                                                    "X-Seen: a\r\nWWW-Authenticate: Basic realm=\"a\"\r\n"));
        });
        const auto* response = std::get_if<URLResponse>(&result);
        ASSERT_TRUE(response) << status << std::get<URLError>(result).what();
        EXPECT_EQ(response->statusCode, status);
        EXPECT_EQ(response->body, body);
        EXPECT_TRUE(std::ranges::count(response->headers, std::pair<QByteArray, QByteArray>("X-Seen", "a")));
    }
}

TEST_F(LinuxURLSessionTest, NoProgressTimesOutAndProgressIsBoundedByTheDeadline) {
    const auto stalled = [](Connection& connection) {
        connection.say("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nten bytes.");
        connection.waitForClose();
    };
    const auto dripping = [](Connection& connection) {
        connection.say("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
        while (connection.say("x"))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    };
    const auto words = [&](const LoopbackServer::Script& script) {
        const auto result = answerOf(script, 0.2);
        EXPECT_EQ(failure(result), Code::timedOut);
        return std::get<URLError>(result).localizedDescription();
    };
    EXPECT_EQ(words([](Connection& connection) { connection.waitForClose(); }), "The request timed out");
    EXPECT_EQ(words(stalled), "The request timed out");
    // Where the machine itself stalls, one that drips may time out too.
    EXPECT_TRUE(eventually([&] { return words(dripping) == "The exchange took too long"; }));
}

TEST_F(LinuxURLSessionTest, BodiesAreBoundedAlsoWhenTheyUnfold) {
    const QByteArray most(LinuxURLSession::maximumBody, 'a');
    const auto whole =
        answerOf([&](Connection& connection) { connection.say(LoopbackServer::response(200, most)); });
    EXPECT_TRUE(!failure(whole) && std::get<URLResponse>(whole).body == most);
    EXPECT_EQ(failure(answerOf([&](Connection& connection) {
                  for (connection.say("HTTP/1.1 200 OK\r\n\r\n"); connection.say(QByteArray(65536, 'b'));) {
                  }
              })),
              Code::other);
    const QByteArray packed = qCompress(most + "a", 9).mid(4);
    for (const QByteArray& body : {packed, QByteArray("not deflated")})
        EXPECT_EQ(failure(answerOf([&](Connection& connection) {
                      connection.say(LoopbackServer::response(200, body, "Content-Encoding: deflate\r\n"));
                  })),
                  Code::other);
}

TEST_F(LinuxURLSessionTest, RedirectsStayWithinTheOriginAndNoCookieIsKept) {
    std::vector<QByteArray> seen;
    QByteArray target = "/end";
    const LoopbackServer elsewhere(
        [](Connection& connection) { connection.say(LoopbackServer::response(200, "x")); });
    const LoopbackServer server([&](Connection& connection) {
        seen.push_back(connection.request);
        const QByteArray to = "Set-Cookie: id=secret; Path=/\r\nLocation: " + target + "\r\n";
        connection.say(
            LoopbackServer::response(connection.request.contains(" /end ") ? 200 : 307, "end", to));
    });
    EXPECT_EQ(failure(exchange(server.url("/begin"), "body")), std::nullopt);
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_TRUE(seen[1].startsWith("POST /end ") && seen[1].endsWith("\r\n\r\nbody"));
    EXPECT_TRUE(seen[1].contains("Authorization: Bearer abc\r\n"));
    EXPECT_FALSE(seen[1].toLower().contains("cookie:"));

    for (const QByteArray& refused : {elsewhere.url().toEncoded(), QByteArray("http://localhost:1/"),
                                      QByteArray("file:///etc/passwd"), QByteArray("/begin")}) {
        target = refused; // the last one is a circle
        EXPECT_EQ(failure(exchange(server.url("/begin"))), Code::other) << refused.constData();
    }
    EXPECT_EQ(elsewhere.connections(), 0);
}

TEST_F(LinuxURLSessionTest, BrokenConnectionsAreToldApart) {
    const auto truncated = [](Connection& connection) {
        connection.say("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\ntruncated");
    };
    EXPECT_EQ(failure(answerOf(truncated)), Code::networkConnectionLost);
    EXPECT_EQ(failure(answerOf([](Connection& connection) { connection.reset(); })),
              Code::networkConnectionLost);
    EXPECT_EQ(failure(answerOf([](Connection&) {})), Code::networkConnectionLost);
    EXPECT_NE(failure(answerOf([](Connection& connection) { connection.say("HELLO\r\n\r\n"); })),
              std::nullopt);
    const QUrl closed = std::make_unique<LoopbackServer>([](Connection&) {})->url();
    EXPECT_EQ(failure(exchange(closed)), Code::cannotConnectToHost);
    EXPECT_EQ(failure(exchange(QUrl("http://host.invalid/"))), Code::cannotFindHost);
    for (const QString address :
         {"ftp://127.0.0.1/", "file:///etc/passwd", "data:,text", "http:///path", "relative"})
        EXPECT_EQ(failure(exchange(QUrl(address))), Code::other) << address.toStdString();
}

TEST_F(LinuxURLSessionTest, AnUntrustedCertificateFailsBeforeAnythingIsSent) {
    const QTemporaryDir folder;
    const QString make =
        "cd %1 && openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=localhost -keyout key -out own";
    ASSERT_EQ(QProcess::execute("sh", {"-c", make.arg(folder.path()) + " 2>/dev/null"}), 0);
    QFile key(folder.filePath("key"));
    ASSERT_TRUE(key.open(QIODevice::ReadOnly));
    QSslConfiguration configuration;
    configuration.setPrivateKey(QSslKey(&key, QSsl::Rsa));
    configuration.setLocalCertificate(QSslCertificate::fromPath(folder.filePath("own")).value(0));
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
    const LoopbackServer silent([](Connection& connection) { connection.waitForClose(); });
    const LoopbackServer quick(
        [](Connection& connection) { connection.say(LoopbackServer::response(200, "")); });
    std::atomic<int> answered = 0, cancelled = 0;
    const auto done = [&](const URLSession::Result& result) {
        ++answered;
        cancelled += failure(result) == Code::cancelled;
    };
    for (int i = 0; i < 50; ++i)
        for (const LoopbackServer* server : {&silent, &quick})
            session.send(to(server->url()), done);
    session.stop();
    EXPECT_EQ(answered, 100);
    EXPECT_GE(cancelled, 50);
    session.send(to(quick.url()), done);
    EXPECT_EQ(answered, 101) << "after the end there is an answer at once";
}

} // namespace

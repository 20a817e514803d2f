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
#include <chrono>
#include <future>
#include <gtest/gtest.h>

namespace {

using Code = URLError::Code;
using Connection = LoopbackServer::Connection;

URLRequest get(const QUrl& url) {
    URLRequest request;
    request.url = url;
    return request;
}

URLRequest post(const QUrl& url, const QByteArray& body) {
    URLRequest request = get(url);
    request.method = "POST";
    request.body = body;
    return request;
}

URLSession::Result exchange(URLSession& session, URLRequest request) {
    std::promise<URLSession::Result> promise;
    session.send(std::move(request),
                 [&](URLSession::Result result) { promise.set_value(std::move(result)); });
    auto answer = promise.get_future();
    if (answer.wait_for(std::chrono::seconds(30)) != std::future_status::ready)
        qFatal("no answer"); // the promise must not go away before it is kept
    return answer.get();
}

std::optional<Code> failure(const URLSession::Result& result) {
    const auto* error = std::get_if<URLError>(&result);
    return error ? std::optional(error->code()) : std::nullopt;
}

struct LinuxURLSessionTest : testing::Test {
    LinuxURLSession session;

    /// The failure of a GET to a server that answers with `script`.
    std::optional<Code> failureOf(const LoopbackServer::Script& script, Seconds timeout = 60) {
        const LoopbackServer server(script);
        URLRequest request = get(server.url());
        request.timeout = timeout;
        return failure(exchange(session, request));
    }
};

TEST_F(LinuxURLSessionTest, EveryStatusIsAResponseWithItsBodyAndHeaders) {
    for (const int status :
         {200, 201, 304, 400, 401, 403, 404, 407, 409, 413, 422, 426, 429, 500, 502, 503}) {
        SCOPED_TRACE(status);
        const QByteArray body = status == 304 ? "" : R"({"message":"text"})";
        const LoopbackServer server([&](Connection& connection) {
            connection.say(LoopbackServer::response(
                status, body, "X-Seen: yes\r\nWWW-Authenticate: Basic realm=\"a\"\r\n"));
        });
        const auto result = exchange(session, get(server.url()));
        const auto* response = std::get_if<URLResponse>(&result);
        ASSERT_TRUE(response) << std::get<URLError>(result).what();
        EXPECT_EQ(response->statusCode, status);
        EXPECT_EQ(response->body, body);
        EXPECT_EQ(std::count(response->headers.begin(), response->headers.end(),
                             std::pair<QByteArray, QByteArray>("X-Seen", "yes")),
                  1);
    }
}

TEST_F(LinuxURLSessionTest, SendsMethodHeadersAndBodyAsGivenAndKeepsNoCookies) {
    std::vector<QByteArray> seen;
    const LoopbackServer server([&](Connection& connection) {
        seen.push_back(connection.request);
        connection.say(LoopbackServer::response(200, "", "Set-Cookie: id=secret; Path=/\r\n"));
    });
    URLRequest request = post(server.url("/a/b?c=d%20e"), QByteArray("\0{}\xff", 4));
    request.headers = {
        {"Content-Type", "application/json"}, {"Authorization", "Bearer abc"}, {"X-App", "hr"}};
    for (int i = 0; i < 2; ++i) {
        exchange(session, request);
        EXPECT_TRUE(seen.back().startsWith("POST /a/b?c=d%20e HTTP/1.1\r\n"));
        EXPECT_TRUE(seen.back().endsWith("\r\n\r\n" + request.body));
        for (const auto& [name, value] : request.headers)
            EXPECT_TRUE(seen.back().contains(name + ": " + value + "\r\n"));
        EXPECT_FALSE(seen.back().toLower().contains("cookie:"));
    }
    request.method = "DELETE";
    request.body.clear();
    exchange(session, request);
    EXPECT_TRUE(seen.back().startsWith("DELETE "));
}

TEST_F(LinuxURLSessionTest, NoProgressTimesOutAndProgressIsBoundedByTheDeadline) {
    const auto silent = [](Connection& connection) { connection.waitForClose(); };
    const auto stalled = [](Connection& connection) {
        connection.say("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nten bytes.");
        connection.waitForClose();
    };
    const auto dripping = [](Connection& connection) {
        connection.say("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
        while (connection.say("x"))
            std::this_thread::sleep_for(std::chrono::milliseconds(40));
    };
    struct Case {
        const char* name;
        LoopbackServer::Script script;
        double atLeast;
        double below;
    };
    for (const auto& [name, script, atLeast, below] :
         {Case{"silent", silent, 0.15, 1.5}, Case{"stalled", stalled, 0.15, 1.5},
          Case{"dripping", dripping, 2.0, 3.5}}) {
        SCOPED_TRACE(name);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(failureOf(script, 0.2), Code::timedOut);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        EXPECT_GE(took.count(), atLeast);
        EXPECT_LT(took.count(), below);
    }
}

TEST_F(LinuxURLSessionTest, BodiesAreBoundedAlsoWhenTheyUnfold) {
    const QByteArray most(LinuxURLSession::maximumBody, 'a');
    const LoopbackServer full(
        [&](Connection& connection) { connection.say(LoopbackServer::response(200, most)); });
    const auto result = exchange(session, get(full.url()));
    ASSERT_TRUE(std::holds_alternative<URLResponse>(result));
    EXPECT_EQ(std::get<URLResponse>(result).body.size(), most.size());

    std::atomic<qint64> said = 0;
    const auto endless = [&](Connection& connection) {
        connection.say("HTTP/1.1 200 OK\r\n\r\n");
        while (connection.say(QByteArray(64 * 1024, 'b')))
            said += 64 * 1024;
    };
    EXPECT_EQ(failureOf(endless), Code::other);
    EXPECT_LT(said, 2 * LinuxURLSession::maximumBody);

    const auto unfolding = [](Connection& connection) {
        const QByteArray packed = qCompress(QByteArray(LinuxURLSession::maximumBody + 1, '\0'), 9).mid(4);
        connection.say(LoopbackServer::response(200, packed, "Content-Encoding: deflate\r\n"));
    };
    EXPECT_EQ(failureOf(unfolding), Code::other);
    EXPECT_EQ(failureOf([](Connection& connection) {
                  connection.say(LoopbackServer::response(200, "not deflated", "Content-Encoding: gzip\r\n"));
              }),
              Code::other);
}

TEST_F(LinuxURLSessionTest, RedirectsStayWithinTheOrigin) {
    std::vector<QByteArray> seen;
    QByteArray target = "/end";
    const LoopbackServer elsewhere(
        [&](Connection& connection) { connection.say(LoopbackServer::response(200, "x")); });
    const LoopbackServer server([&](Connection& connection) {
        seen.push_back(connection.request);
        const bool atEnd = connection.request.contains(" /end ");
        connection.say(atEnd ? LoopbackServer::response(200, "end")
                             : LoopbackServer::response(307, "", "Location: " + target + "\r\n"));
    });
    URLRequest request = post(server.url("/begin"), "body");
    request.headers = {{"Content-Type", "text/plain"}, {"Authorization", "Bearer abc"}};
    const auto followed = exchange(session, request);
    ASSERT_TRUE(std::holds_alternative<URLResponse>(followed));
    EXPECT_EQ(std::get<URLResponse>(followed).body, "end");
    ASSERT_EQ(seen.size(), 2);
    EXPECT_TRUE(seen[1].startsWith("POST /end ") && seen[1].endsWith("\r\n\r\nbody"));
    EXPECT_TRUE(seen[1].contains("Bearer abc"));

    for (const QByteArray& refused :
         {elsewhere.url().toEncoded(), QByteArray("http://localhost:1/"), QByteArray("file:///etc/passwd")}) {
        SCOPED_TRACE(refused.constData());
        target = refused;
        EXPECT_EQ(failure(exchange(session, request)), Code::other);
    }
    EXPECT_EQ(elsewhere.connections(), 0);

    target = "/begin";
    EXPECT_EQ(failure(exchange(session, get(server.url("/begin")))), Code::other) << "a circle";
}

TEST_F(LinuxURLSessionTest, BrokenConnectionsAreToldApart) {
    EXPECT_EQ(failureOf([](Connection& connection) {
                  connection.say("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\ntruncated");
              }),
              Code::networkConnectionLost);
    EXPECT_EQ(failureOf([](Connection& connection) { connection.reset(); }), Code::networkConnectionLost);
    EXPECT_EQ(failureOf([](Connection&) {}), Code::networkConnectionLost);
    EXPECT_NE(failureOf([](Connection& connection) { connection.say("HELLO\r\n\r\n"); }), std::nullopt);

    QUrl closed;
    {
        const LoopbackServer gone([](Connection&) {});
        closed = gone.url();
    }
    EXPECT_EQ(failure(exchange(session, get(closed))), Code::cannotConnectToHost);
    EXPECT_EQ(failure(exchange(session, get(QUrl("http://host.invalid/")))), Code::cannotFindHost);
    for (const QString address :
         {"ftp://127.0.0.1/", "file:///etc/passwd", "data:,text", "http:///path", "relative"})
        EXPECT_EQ(failure(exchange(session, get(QUrl(address)))), Code::other) << address.toStdString();
}

TEST_F(LinuxURLSessionTest, AnUntrustedCertificateFailsBeforeAnythingIsSent) {
    const QTemporaryDir folder;
    QProcess generator;
    generator.start("openssl",
                    {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj", "/CN=localhost",
                     "-keyout", folder.filePath("key"), "-out", folder.filePath("certificate")});
    ASSERT_TRUE(generator.waitForFinished() && generator.exitCode() == 0);
    QFile key(folder.filePath("key"));
    ASSERT_TRUE(key.open(QIODevice::ReadOnly));
    QSslConfiguration configuration;
    configuration.setPrivateKey(QSslKey(&key, QSsl::Rsa));
    configuration.setLocalCertificate(QSslCertificate::fromPath(folder.filePath("certificate")).value(0));
    QSslServer server;
    server.setSslConfiguration(configuration);
    int connections = 0;
    bool encrypted = false;
    QObject::connect(&server, &QSslServer::startedEncryptionHandshake, [&] { ++connections; });
    QObject::connect(&server, &QTcpServer::pendingConnectionAvailable, [&] { encrypted = true; });
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));

    std::promise<URLSession::Result> promise;
    auto answer = promise.get_future();
    session.send(get(QUrl(QString("https://localhost:%1/").arg(server.serverPort()))),
                 [&](URLSession::Result result) { promise.set_value(std::move(result)); });
    ASSERT_TRUE(
        eventually([&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_EQ(failure(answer.get()), Code::other);
    EXPECT_GT(connections, 0);
    EXPECT_FALSE(encrypted);
}

TEST(LinuxURLSessionEndTest, EveryExchangeIsAnsweredOnceWhateverHappens) {
    const LoopbackServer silent([](Connection& connection) { connection.waitForClose(); });
    const LoopbackServer quick(
        [](Connection& connection) { connection.say(LoopbackServer::response(200, "")); });
    std::atomic<int> answered = 0;
    std::atomic<int> cancelled = 0;
    const auto done = [&](const URLSession::Result& result) {
        ++answered;
        cancelled += failure(result) == Code::cancelled;
    };
    auto session = std::make_unique<LinuxURLSession>();
    std::vector<std::thread> senders;
    for (int sender = 0; sender < 4; ++sender) {
        senders.emplace_back([&] {
            for (int i = 0; i < 25; ++i) {
                session->send(get(quick.url()), done);
                session->send(get(silent.url()), done);
            }
        });
    }
    for (auto& sender : senders)
        sender.join();
    session->stop();
    EXPECT_EQ(answered, 200);
    EXPECT_GE(cancelled, 100);
    session->send(get(quick.url()), done);
    EXPECT_EQ(answered, 201) << "after the end there is an answer at once";
    session.reset();
    EXPECT_EQ(answered, 201);
}

} // namespace

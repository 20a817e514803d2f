#include "LinuxURLSession.h"
#include "LogCapture.h"
#include "ScriptedServer.h"
#include "UploadWorld.h"

#include <QFile>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <future>
#include <thread>

namespace {

/// Lets the simulated machine's requests go out over real HTTP.
class RealHTTP {
public:
    explicit RealHTTP(SimulatedURLSession& simulated) {
        simulated.setServer(
            [this](const URLRequest& request) { return SimulatedURLSession::Reply{exchange(request)}; });
    }

private:
    URLSession::Result exchange(const URLRequest& request) {
        std::promise<URLSession::Result> answered;
        real_.send(request, [&](URLSession::Result result) { answered.set_value(std::move(result)); });
        return answered.get_future().get();
    }
    LinuxURLSession real_;
};

/// Takes one request on a free loopback port, answers it with 200, and keeps what came byte for byte.
class OneRawRequest {
public:
    OneRawRequest() {
        std::promise<quint16> listening;
        thread_ = std::thread([this, &listening] {
            QTcpServer server;
            server.listen(QHostAddress::LocalHost);
            listening.set_value(server.serverPort());
            if (!server.waitForNewConnection(10'000))
                return;
            QTcpSocket& socket = *server.nextPendingConnection();
            while (!isWhole() && socket.waitForReadyRead(10'000))
                bytes_ += socket.readAll();
            socket.write("HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
            socket.waitForBytesWritten();
            socket.disconnectFromHost();
        });
        port_ = listening.get_future().get();
    }
    ~OneRawRequest() { thread_.join(); }

    QUrl root() const { return QUrl(QString("http://127.0.0.1:%1/api/v1/").arg(port_)); }
    QByteArray head() const { return bytes_.left(bytes_.indexOf("\r\n\r\n") + 2); }
    QByteArray body() const { return bytes_.mid(bytes_.indexOf("\r\n\r\n") + 4); }

private:
    bool isWhole() const {
        static const QRegularExpression length("\r\nContent-Length: ([0-9]+)\r\n");
        const auto match = length.match(QString::fromLatin1(head()));
        return bytes_.contains("\r\n\r\n") && body().size() >= match.captured(1).toInt();
    }
    QByteArray bytes_;
    quint16 port_ = 0;
    std::thread thread_;
};

/// A picture of the world's session in the folder of the company at 127.0.0.1.
QString loopbackPicture(UploadWorld& world, const QByteArray& bytes) {
    QFile file(world.fileNamed(world.sessionText + "_2023-11-14T22-13-20Z_0.jpg", 0, "127.0.0.1"));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    return file.fileName();
}

} // namespace

TEST(UploadOverHTTP, eachKindOfTaskArrivesAsToldAndARefreshedTokenRepeatsOnce) {
    UploadWorld world;
    ScriptedServer server([](const URLRequest& request) {
        const bool isExpired = request.header("Authorization") == "Bearer first-token";
        return isExpired ? URLResponse{401, {}, R"({"message":"expired"})"}
                         : URLResponse{200, {}, R"({"data":{"accepted":[0]}})"};
    });
    const RealHTTP http(world.machine.urlSession);
    world.domain.setBaseURL(server.root());
    world.refreshedToken = "second-token";
    const QString picture = loopbackPicture(world, "picture");
    world.service.enqueueSessionStart(world.sampleSession());
    world.service.enqueueSessionUpload(world.sampleSession());
    world.closedSegment(9);
    const QStringList bodies =
        world.sql("SELECT json_payload FROM upload_queue ORDER BY priority DESC LIMIT 2");
    world.run();
    EXPECT_TRUE(world.rows().isEmpty());
    EXPECT_EQ(world.refreshes, 4);
    EXPECT_FALSE(QFile::exists(picture));

    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 8u);
    const QString root = "/api/v1/hr/timetracker/employees/";
    const QStringList paths = {root + "sessions/start", root + "sessions/heartbeat", root + "segments/batch",
                               root + "sessions/" + world.sessionText + "/screenshots"};
    for (std::size_t i = 0; i < requests.size(); ++i) {
        const URLRequest& request = requests[i];
        EXPECT_EQ(request.url.path(), paths[static_cast<qsizetype>(i / 2)]);
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.header("app-client"), "ios");
        EXPECT_EQ(request.header("Accept"), "application/json");
        EXPECT_EQ(request.header("Authorization"), i % 2 == 0 ? "Bearer first-token" : "Bearer second-token");
        EXPECT_TRUE(request.header("X-App").isEmpty());
        EXPECT_EQ(request.header("Content-Type") == "application/json", i < 6);
        EXPECT_EQ(request.body, requests[i - i % 2].body);
    }
    EXPECT_EQ(requests[0].body, bodies[0].toUtf8());
    EXPECT_EQ(requests[2].body, bodies[1].toUtf8());
    EXPECT_EQ(jsonObject(requests[4].body)["segments"][0]["segment_number"], 9);
    EXPECT_EQ(requests[6].header("Content-Type"),
              requests[7].header("Content-Type")); // one boundary an attempt
}

TEST(UploadOverHTTP, aPictureIsOnePartOfExactBytes) {
    UploadWorld world;
    const OneRawRequest server;
    const RealHTTP http(world.machine.urlSession);
    world.domain.setBaseURL(server.root());
    world.zones.store("Asia/Ho_Chi_Minh");
    QByteArray bytes(300'000, '\xd8');
    bytes.replace(17, 6, QByteArray("\0\r\n--\xff", 6));
    world.addScreenshot(loopbackPicture(world, bytes));
    world.run();
    EXPECT_TRUE(world.rows().isEmpty());

    static const QRegularExpression form(
        "\r\nContent-Type: multipart/form-data; boundary=(Boundary-[0-9A-F-]{36})\r\n");
    const QByteArray boundary = form.match(QString::fromLatin1(server.head())).captured(1).toLatin1();
    ASSERT_FALSE(boundary.isEmpty()) << server.head().constData();
    EXPECT_TRUE(server.head().contains("\r\napp-client: ios\r\n")) << server.head().constData();
    EXPECT_EQ(server.body(), "--" + boundary +
                                 "\r\nContent-Disposition: form-data; name=\"screenshots[]\"; filename=\"" +
                                 world.sessionText.toUtf8() +
                                 "_2023-11-15T05-13-20+07-00_0.jpg\"\r\nContent-Type: image/jpeg\r\n\r\n" +
                                 bytes + "\r\n--" + boundary + "--\r\n");
}

TEST(UploadOverHTTP, aServerThatIsNotThereCountsAsOffline) {
    UploadWorld world;
    QUrl root;
    {
        const ScriptedServer server([](const URLRequest&) { return URLResponse{200, {}, {}}; });
        root = server.root();
    }
    const RealHTTP http(world.machine.urlSession);
    world.domain.setBaseURL(root);
    world.add(UploadTaskType::heartbeat);
    world.run();
    EXPECT_EQ(world.rows(), QStringList("heartbeat failed 0"));
}

TEST(UploadTransport, asksForATokenOnceAndThenGivesUp) {
    UploadWorld world;
    world.serverAnswers(401);
    const auto failsAsUnauthorized = [&] {
        const URLRequest request = world.transport.makeRequest("a/b", "POST", "application/json");
        std::optional<APIError::Kind> kind;
        world.await([](UploadWorld& in, URLRequest sent, std::optional<APIError::Kind>& into) -> Task<> {
            try {
                co_await in.transport.executeRequest(sent, true);
            } catch (const APIError& error) {
                into = error.kind();
            }
        }(world, request, kind));
        return kind == APIError::Kind::unauthorized;
    };
    EXPECT_TRUE(failsAsUnauthorized());
    EXPECT_EQ(world.requests().size(), 1u);
    world.refreshedToken = "second-token";
    EXPECT_TRUE(failsAsUnauthorized());
    EXPECT_EQ(world.requests().size(), 3u);
    EXPECT_EQ(world.refreshes, 2);
    EXPECT_EQ(world.requests().back().header("Authorization"), "Bearer second-token");
    EXPECT_EQ(world.requests().back().timeout, 120);

    world.keychain.deleteAuthTokens();
    const URLRequest bare = world.transport.makeRequest("a/b", "POST", "x/y");
    EXPECT_EQ(bare.headers,
              (HTTPHeaders{{"app-client", "ios"}, {"Content-Type", "x/y"}, {"Accept", "application/json"}}));
    EXPECT_EQ(bare.url, QUrl("https://acme.test/api/v1/a/b"));
    EXPECT_THROW(world.transport.makeRequest("../../elsewhere", "POST", "x/y"), APIError);
}

TEST(UploadTransport, logsTheExchangeWithoutSecrets) {
    UploadWorld world;
    world.add(UploadTaskType::heartbeat, 10, R"({"token":"s3cret","n":1})");
    const std::pair<QByteArray, QString> answers[] = {
        {R"({"message":"no \"Bearer abc\" here","errors":[1]})", R"(no "Bearer <redacted>" here)"},
        {R"({"message":7,"errors":"e"})", "e"},
        {R"({"errors":5,"n":1})", ": 5"},
        {R"({"errors":{"password":"s3cret"}})", "\"password\":\"<redacted>\""},
        {"plain", "plain"},
        {QByteArray(500, 'x'), QString(500, 'x')},
        {"\xff\xfe", "Non-UTF8 binary payload (2 bytes)"},
        {QByteArray(2600, 'y'), "…(2600 chars total)"},
    };
    for (const auto& [body, expected] : answers) {
        world.serverAnswers(418, body);
        const LogCapture log;
        world.sql("UPDATE upload_queue SET next_attempt_at = 0, retry_count = 0");
        world.run();
        const QStringList info = log.lines(QtInfoMsg);
        ASSERT_EQ(info.size(), 2);
        EXPECT_TRUE(info[0].startsWith(
            "API request: POST /api/v1/hr/timetracker/employees/sessions/heartbeat\nPayload: {"));
        EXPECT_EQ(info[1], "API response: POST /api/v1/hr/timetracker/employees/sessions/heartbeat -> 418");
        const QString error = log.lines(QtCriticalMsg).value(0);
        EXPECT_TRUE(error.startsWith("API error 418 /api/v1/hr/timetracker/employees/sessions/heartbeat: "));
        EXPECT_TRUE(error.contains(expected)) << qPrintable(error);
        EXPECT_FALSE(log.contains("s3cret") || log.contains("first-token"));
    }
    world.serverAnswers(418);
    world.sql("UPDATE upload_queue SET next_attempt_at = 0, retry_count = 0");
    const LogCapture log;
    world.run();
    EXPECT_EQ(log.count("API error"), 0); // nothing was said
}

#include "LinuxURLSession.h"
#include "LoopbackServer.h"
#include "ScriptedServer.h"
#include "UploadWorld.h"

namespace {

using Type = UploadTaskType;
using Code = URLError::Code;
using Network = SimulatedURLSession;

/// A status comes from a real server; a failure of the transport is simulated.
struct FailingServer {
    int status = 0;
    ScriptedServer server{[this](const URLRequest&) { return URLResponse{status, {}, "failed"}; }};
    LinuxURLSession http;

    void answer(UploadWorld& world, const Network::Reply& failure) {
        const auto* response = std::get_if<URLResponse>(&failure.result);
        if (!response || !response->statusCode)
            return world.reply(failure);
        status = *response->statusCode;
        world.domain.setBaseURL(server.root());
        sendOver(http, world.machine.urlSession);
    }
};

/// Sends one task into the failure, and checks all that is to come of it: 'r'etry, 'o'ffline, 't'akeover,
/// 'd'ropped, 'D'ropped with its file.
void check(FailingServer& server, Type type, const Network::Reply& failure, char outcome) {
    UploadWorld world;
    server.answer(world, failure);
    const QString picture = world.picture();
    type == Type::screenshot ? world.addScreenshot(picture) : world.add(type);
    if (type == Type::activitySegment)
        world.closedSegment(9);
    world.refreshedToken = "no better";
    world.circuitOpensAfter(3, std::nullopt);
    world.run();
    EXPECT_EQ(world.requests.size(), 1u + world.refreshes); // a new token is tried once
    const auto* response = std::get_if<URLResponse>(&failure.result);
    EXPECT_EQ(world.refreshes, response && response->statusCode == 401);
    EXPECT_EQ(QFile::exists(picture), outcome != 'D');
    EXPECT_EQ(world.heard.size(), outcome == 't');
    const QString left = outcome == 'r' ? " failed 1" : outcome == 'o' ? " failed 0" : "";
    EXPECT_EQ(world.rows(), left.isEmpty() ? left : rawName(type) + left);
    // Three failures before this task; only a retry makes it four, so that one more opens the circuit.
    EXPECT_EQ(world.circuitOpensAfter(1, 500), outcome == 'r');
}

} // namespace

TEST(UploadFailures, eachKindOfTaskDoesAsTheTableTells) {
    std::vector<std::pair<Network::Reply, const char*>> cases{{{URLResponse{}}, "rrrr"}}; // not HTTP
    const std::pair<int, const char*> statuses[] = {
        // heartbeat, screenshot, activitySegment, startSession
        {400, "drdr"}, {404, "trrd"}, {409, "trrd"}, {413, "rDrr"}, {422, "dDdd"}, {301, "rrrr"},
        {401, "rrrr"}, {403, "rrrr"}, {429, "rrrr"}, {500, "rrrr"}, {503, "rrrr"}};
    for (const auto& [status, outcomes] : statuses)
        cases.emplace_back(Network::answer(status, "failed"), outcomes);
    for (int code = 0; code <= int(Code::other); ++code)
        cases.emplace_back(Network::failure(Code(code)),
                           Code(code) <= Code::dataNotAllowed ? "oooo" : "rrrr");
    FailingServer server;
    const Type types[] = {Type::heartbeat, Type::screenshot, Type::activitySegment, Type::startSession};
    for (std::size_t i = 0; i < 4 * cases.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "failure " << i / 4 << " of task type " << i % 4);
        check(server, types[i % 4], cases[i / 4].first, cases[i / 4].second[i % 4]);
    }
}

// What the table above takes for granted: of the failures of a real connection, the time-outs are counted; the same
// bytes then go out again.
TEST_F(Upload, failuresOfTheRealNetworkAreToldApartAndDeliverLater) {
    using enum LoopbackServer::Calls;
    std::vector<QByteArray> arrived;
    const auto taken = [&](const LoopbackServer::Script& script) {
        return [&arrived, script](QTcpSocket& socket, const QByteArray& bytes) {
            arrived.push_back(LoopbackServer::body(bytes));
            script(socket, bytes);
        };
    };
    const QByteArray truncated = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{";
    const QUrl closed = LoopbackServer(saying("")).url();
    const LoopbackServer cut(reset, forFirstBytes), committed(taken(reset)), silent(taken(stallingAfter("")));
    const LoopbackServer wordless(taken(saying(""))), broken(taken(saying(truncated)));
    const LoopbackServer stalling(taken(stallingAfter(truncated))),
        other(taken(saying("220 smtp ready\r\n")));
    const LoopbackServer good(taken(saying(response(200, "{}"))));
    const struct {
        const char* failure;
        QUrl server;
        bool timesOut;
        bool arrives;
    } cases[] = {
        {"refused", closed, false, false},
        {"host not found", QUrl("http://host.invalid/"), false, false},
        {"reset in mid-request", cut.url(), false, false},
        {"reset after the server had all", committed.url(), false, true},
        {"closed without a word", wordless.url(), false, true},
        {"200 with half a body", broken.url(), false, true},
        {"no HTTP", other.url(), false, true},
        {"no answer", silent.url(), true, true},
        {"no end", stalling.url(), true, true},
    };
    LinuxURLSession http;
    const auto sendTo = [&](const QUrl& server, Seconds timeout) {
        sendOver(http, machine.urlSession, [=](URLRequest request) {
            request.url = server.resolved(QUrl(request.url.path()));
            request.timeout = timeout;
            return request;
        });
    };
    for (const auto& [failure, server, timesOut, arrives] : cases) {
        SCOPED_TRACE(failure);
        arrived.clear();
        const QByteArray payload = QByteArray(failure).repeated(20000); // more than a connection buffers
        add(Type::heartbeat, 10, payload);
        circuitOpensAfter(3, std::nullopt);
        sendTo(server, timesOut ? 0.3 : 60);
        run();
        EXPECT_EQ(rows(), timesOut ? "heartbeat failed 1" : "heartbeat failed 0");
        EXPECT_NEAR(dueIn(), timesOut ? 4.5 : 75, timesOut ? 0.5 : 15);
        EXPECT_EQ(arrived.empty(), !arrives);
        EXPECT_EQ(circuitOpensAfter(1, 500), timesOut);
        pass(91);
        sendTo(good.url(), 60);
        run();
        EXPECT_EQ(rows(), "");
        EXPECT_EQ(std::ranges::count(arrived, payload), arrived.size());
    }
}

TEST_F(Upload, ladderEndsWithTheSixthFailure) {
    const QString mine = picture();
    addScreenshot(mine);
    answer(404);
    for (const int step : {4, 8, 16, 32, 64}) {
        run();
        EXPECT_NEAR(dueIn(), step + 0.5, 0.5);
        pass(dueIn() - 0.001);
        run(); // not due yet
        pass(0.002);
    }
    EXPECT_EQ(requests.size(), 5u);
    run();
    EXPECT_EQ(rows(), "");
    EXPECT_TRUE(QFile::exists(mine)); // for the next orphan sweep
}

TEST_F(Upload, beingOfflineNeverCountsAndTheDelayIsSpread) {
    add(Type::heartbeat);
    sql("UPDATE upload_queue SET retry_count = 5");
    reply(Network::failure(Code::notConnectedToInternet));
    std::set<Seconds> delays;
    for (int i = 0; i < 100; ++i, pass(91)) {
        run();
        ASSERT_EQ(rows(), "heartbeat failed 5");
        delays.insert(dueIn());
    }
    EXPECT_NEAR(*delays.begin(), 61.5, 1.5);
    EXPECT_NEAR(*delays.rbegin(), 88.5, 1.5);
}

TEST_F(Upload, dueTimeOfAClockThatWasAheadDoesNotStrandItsRow) {
    add(Type::heartbeat);
    reply(Network::failure(Code::notConnectedToInternet));
    machine.timeline.jumpWallClock(1e8);
    run();
    answer(200);
    run(); // not due yet
    EXPECT_EQ(rows(), "heartbeat failed 0");
    machine.timeline.jumpWallClock(-1e8);
    run();
    EXPECT_EQ(rows(), "");
}

TEST_F(Upload, rowThatCannotBeSentMakesNoRequest) {
    addScreenshot("/nowhere/at/all.jpg");
    run();
    EXPECT_EQ(rows(), "");
    add(Type::heartbeat, 10, std::nullopt);
    addScreenshot(directory.path()); // a folder is there, but does not read
    run();
    EXPECT_EQ(rows(), "heartbeat failed 1, screenshot failed 1");
    EXPECT_EQ(sent(), "");
}

TEST_F(Upload, circuitOpensAtTheFifthFailureAndThenEachTimeForLonger) {
    EXPECT_FALSE(circuitOpensAfter(5, std::nullopt));
    EXPECT_FALSE(circuitOpensAfter(1, 499));
    EXPECT_TRUE(circuitOpensAfter(1, 500)); // the others could not open it, but they count
    retry.registerSuccess();
    EXPECT_FALSE(circuitOpensAfter(4, 500));
    for (const int cooldown : {60, 120, 240, 480, 600, 600}) {
        EXPECT_TRUE(circuitOpensAfter(1, 503));
        pass(cooldown - 0.001);
        EXPECT_TRUE(circuitIsOpen()) << cooldown;
        pass(0.001);
        EXPECT_FALSE(circuitIsOpen()) << cooldown; // at the very instant
    }
    circuitOpensAfter(1, 503);
    machine.timeline.jumpWallClock(-13 * 3600); // must not stretch a cool-down
    EXPECT_FALSE(circuitIsOpen());
}

#include "UploadWorld.h"
#include "platform/linux/network/LinuxURLSession.h"
#include "tests/support/LoopbackServer.h"

using Code = URLError::Code;

TEST(UploadFailures, endEachKindOfTaskAsTheTableTellsAndWhatIsLeftArrivesLater) {
    struct Failure {
        QByteArray name;
        /// Of a heartbeat, a screenshot, an activitySegment and a startSession, or of the first alone:
        /// 'r'etry, n'o' verdict, 't'akeover, 'd'ropped, 'D'ropped with its file, 's'ent.
        const char* outcomes;
        /// A real server that gets the whole request, one that does not, or a simulated answer.
        std::variant<LoopbackServer::Script, QUrl, Network::Reply> cause;
        Seconds timeout = 60;
    };
    const QByteArray truncated = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{";
    const LoopbackServer cut(reset, LoopbackServer::Calls::forFirstBytes);
    std::vector<Failure> failures{
        {"refused", "o", LoopbackServer(reset).url()},
        {"host not found", "o", QUrl("http://host.invalid/")},
        {"reset in mid-request", "o", cut.url()},
        {"reset after the server had all", "o", reset},
        {"closed without a word", "o", saying("")},
        {"200 with half a body", "o", saying(truncated)},
        {"no HTTP", "o", saying("220 smtp ready\r\n")},
        {"no answer", "o", stallingAfter(""), 0.3},
        {"no end", "o", stallingAfter(truncated), 0.3},
        {"no status", "oooo", Network::Reply{URLResponse()}},
        {"a page", "oooo", saying(response(200, " <html>"))},
        {"a page by its type", "oooo", saying(response(200, "", "content-type: text/HTML; charset=a\r\n"))},
        {"an object called a page", "ssss", saying(response(200, "{}", "content-type: text/html\r\n"))},
        {"a text", "osoo", saying(response(200, "OK"))},
        {"half an object", "osoo", saying(response(200, "{\"data\":[17"))},
        {"an object", "ssss", saying(response(200, "{\"data\":[]}"))},
        {"nothing", "ssss", saying(response(204, ""))},
    };
    const std::pair<int, const char*> statuses[] = {
        {400, "drdr"}, {404, "trrd"}, {409, "trrd"}, {413, "rDrr"}, {422, "dDdd"}, {301, "oooo"}, {401, "rrrr"},
        {403, "rrrr"}, {407, "oooo"}, {429, "rrrr"}, {500, "rrrr"}, {503, "rrrr"}, {511, "oooo"}};
    for (const auto& [status, outcomes] : statuses)
        failures.emplace_back(QByteArray::number(status), outcomes, saying(response(status, "failed")));
    for (int code = 0; code <= int(Code::other); ++code)
        failures.emplace_back("code " + QByteArray::number(code), "oooo", Network::failure(Code(code)));

    LinuxURLSession http{"tests/1"};
    LoopbackServer::Script script;
    std::vector<QByteArray> arrived;
    const LoopbackServer server([&](QTcpSocket& socket, const URLRequest& request) {
        arrived.push_back(request.body);
        script(socket, request);
    });
    const auto answerBy = [&](UploadWorld& world, const Failure& failure) {
        if (const auto* simulated = std::get_if<Network::Reply>(&failure.cause))
            return world.reply(*simulated);
        const auto* does = std::get_if<LoopbackServer::Script>(&failure.cause);
        script = does ? *does : nullptr;
        const QUrl url = does ? server.url() : std::get<QUrl>(failure.cause);
        sendOver(http, world.machine.urlSession, [url, timeout = failure.timeout](URLRequest request) {
            request.url = url.resolved(QUrl(request.url.path()));
            request.timeout = timeout;
            return request;
        });
    };
    for (const Failure& failure : failures) {
        const bool isOfTransport = !failure.outcomes[1];
        for (std::size_t i = 0; failure.outcomes[i]; ++i) {
            const auto type = std::array{heartbeat, screenshot, activitySegment, startSession}[i];
            const char outcome = failure.outcomes[i];
            SCOPED_TRACE(qPrintable(failure.name + ", " + rawName(type)));
            UploadWorld world;
            const QString picture = world.picture();
            const QByteArray payload = failure.name.repeated(isOfTransport ? 20000 : 1); // overfills a buffer
            type == screenshot ? world.addScreenshot(picture) : world.add(type, 10, payload);
            if (type == activitySegment)
                world.closedSegment(9);
            world.refreshedToken = "no better";
            world.circuitOpensAfter(3, std::nullopt);
            arrived.clear();
            answerBy(world, failure);
            world.run();
            EXPECT_EQ(world.refreshes, failure.name == "401");
            EXPECT_EQ(world.requests.size(), 1u + world.refreshes); // a new token is tried once
            EXPECT_EQ(arrived.empty(), failure.cause.index() != 0);
            EXPECT_EQ(QFile::exists(picture), outcome != 'D' && (outcome != 's' || type != screenshot));
            EXPECT_EQ(world.heard.size(), outcome == 't');
            // Three failures before this one; only a retry makes it four, so that one more opens the circuit.
            EXPECT_EQ(world.circuitOpensAfter(1, 500), outcome == 'r');
            const QString left = outcome == 'r' ? " failed 1" : outcome == 'o' ? " failed 0" : "";
            EXPECT_EQ(world.rows(), left.isEmpty() ? left : rawName(type) + left);
            if (isOfTransport) { // the same bytes go out again
                EXPECT_NEAR(world.dueIn(), 75, 15);
                world.pass(91);
                answerBy(world, {"", "", saying(response(200, "{}"))});
                world.run();
                EXPECT_EQ(world.rows(), "");
                EXPECT_EQ(std::ranges::count(arrived, payload), arrived.size());
            }
        }
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

TEST_F(Upload, SessionReportsAreTriedHourlyForThirtyDaysOfHoursAndThenLogged) {
    queue(service.sessionStartTask(sampleSession()));
    UploadTask ofAnother = storedTask(1, heartbeat);
    ofAnother.sessionId = numberedId(8);
    ofAnother.jsonPayload = "{\"of\":\"another\"}";
    queue(ofAnother);
    machine.urlSession.setServer(
        [](const URLRequest& request) { return Network::answer(request.url.fileName() == "start" ? 403 : 200); });
    for (int failures = 1; failures <= 6; ++failures) {
        EXPECT_EQ(notices, UploadNotices{});
        run();
        pass(failures < 6 ? dueIn() + 0.001 : 0);
    }
    EXPECT_EQ(notices, (UploadNotices{1, "The server answered with status 403.", 0}));
    EXPECT_EQ(sent(), "start heartbeat start start start start start"); // others pass it by
    EXPECT_NEAR(dueIn(), 3600, 0.001);
    sql("UPDATE upload_queue SET retry_count = 724");
    const LogCapture log;
    for (const char* left : {"startSession failed 725", ""}) {
        pass(dueIn() + 0.001);
        run();
        EXPECT_EQ(rows(), left);
    }
    EXPECT_TRUE(log.contains("not delivered: {\"device_uuid\":\"DEVICE\""));
    EXPECT_EQ(notices, UploadNotices{});
}

TEST_F(Upload, CountsNothingWhileNobodyIsSignedInOrTheRefreshGivesNoToken) {
    add(heartbeat);
    answer(401);
    run();
    EXPECT_EQ(rows(), "heartbeat failed 0");
    EXPECT_EQ(sent(), "heartbeat");
    keychain.deleteAuthTokens();
    pass(91);
    run();
    EXPECT_FALSE(heartbeatNow());
    EXPECT_EQ(rows(), "heartbeat failed 0");
    EXPECT_EQ(sent(), "heartbeat");
}

TEST_F(Upload, CountsNothingFromTheOpeningOfTheCircuitToTheNextSuccess) {
    circuitOpensAfter(5, 503);
    addScreenshot(picture());
    for (const int status : {429, 503}) {
        answer(status);
        pass(91);
        run();
        EXPECT_EQ(rows(), "screenshot failed 0") << status;
    }
    EXPECT_TRUE(circuitIsOpen()); // the server error opened it again
    pass(120);
    answer(403); // this one is about the picture
    run();
    EXPECT_EQ(rows(), "screenshot failed 1");
}

TEST_F(Upload, WaitsAsLongAsTheServerAsksButAnHourAtMostAndNotLessThanTheLadder) {
    const struct {
        int status;
        QByteArray retryAfter;
        Seconds delay; ///< Up to a second of jitter less.
    } cases[] = {
        {503, "120", 120},
        {429, "120", 120},
        {500, "120", 5},
        {503, "1", 5},
        {503, "86400", 3600},
        {503, "99999999999999999999", 5},
        {503, "-7", 5},
        {503, "soon", 5},
        {503, "Tue, 14 Nov 2023 22:15:20 GMT", 120}, // it is 22:13:20
        {503, "Tue, 14 Nov 2023 21:00:00 GMT", 5},
        {503, "Wed, 15 Nov 2023 22:13:20 GMT", 3600},
    };
    for (const auto& [status, retryAfter, delay] : cases) {
        UploadWorld world;
        world.add(heartbeat);
        world.reply({URLResponse{status, {{"retry-after", retryAfter}}, {}}, 0});
        world.run();
        EXPECT_NEAR(world.dueIn(), delay - 0.5, 0.5) << status << ' ' << retryAfter.constData();
        world.pass(1);
        world.run(); // nothing is brought forward
        EXPECT_EQ(world.requests.size(), 1U);
    }
    circuitOpensAfter(5, 503);
    pass(60);
    add(heartbeat);
    reply({URLResponse{503, {{"Retry-After", "500"}}, {}}, 0});
    run();
    EXPECT_EQ(rows(), "heartbeat failed 0");
    EXPECT_NEAR(dueIn(), 500, 0.001);
}

TEST_F(Upload, ASuccessClosesTheCircuitAndForgetsTheFailures) {
    circuitOpensAfter(7, 503); // for 240 s
    add(heartbeat);
    pass(240);
    run();
    EXPECT_EQ(rows(), "");
    EXPECT_FALSE(circuitOpensAfter(4, 503));
    EXPECT_TRUE(circuitOpensAfter(1, 503));
    pass(60);
    EXPECT_FALSE(circuitIsOpen());
}

TEST_F(Upload, beingOfflineNeverCountsAndDelaysALittle) {
    add(heartbeat);
    sql("UPDATE upload_queue SET retry_count = 5");
    reply(Network::failure(Code::notConnectedToInternet));
    std::set<Seconds> delays;
    const LogCapture log;
    for (int i = 0; i < 100; ++i, pass(91)) {
        run();
        ASSERT_EQ(rows(), "heartbeat failed 5");
        delays.insert(dueIn());
    }
    EXPECT_EQ(log.count("offline transport error; rescheduling without retry penalty"), 100);
    EXPECT_NEAR(*delays.begin(), 61.5, 1.5);
    EXPECT_NEAR(*delays.rbegin(), 88.5, 1.5);
    machine.timeline.jumpWallClock(1e8); // a clock that is ahead does not strand the row
    run();
    answer(200);
    run(); // not due yet
    EXPECT_EQ(rows(), "heartbeat failed 5");
    machine.timeline.jumpWallClock(-1e8);
    run();
    EXPECT_EQ(rows(), "");
}

TEST_F(Upload, rowThatCannotBeSentMakesNoRequest) {
    addScreenshot("/nowhere/at/all.jpg");
    run();
    EXPECT_EQ(rows(), "");
    add(heartbeat, 10, std::nullopt);
    addScreenshot(directory.path()); // a folder is there, but does not read
    run();
    EXPECT_EQ(rows(), "heartbeat failed 1, screenshot failed 1");
    EXPECT_EQ(sent(), "");
    const LogCapture log;
    EXPECT_FALSE(service.sessionStartTask(Session()));
    EXPECT_EQ(log.count("enqueueSessionStart: StartSessionPayload.build failed"), 1);
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

#include "UploadWorld.h"

namespace {

using Type = UploadTaskType;
using Code = URLError::Code;
using Network = SimulatedURLSession;

/// Sends one task into the failure, and checks all that is to come of it: 'r'etry, 'o'ffline, 't'akeover,
/// 'd'ropped, 'D'ropped with its file.
void check(Type type, const Network::Reply& failure, char outcome) {
    UploadWorld world;
    const QString picture = world.picture();
    const UploadTask task = type == Type::screenshot ? world.addScreenshot(picture) : world.add(type);
    if (type == Type::activitySegment)
        world.closedSegment(9);
    world.reply(failure);
    world.refreshedToken = "no better";
    world.circuitOpensAfter(3, std::nullopt);
    const LogCapture log;
    world.run();
    EXPECT_EQ(world.requests.size(), 1u + world.refreshes); // a new token is tried once
    const auto* response = std::get_if<URLResponse>(&failure.result);
    EXPECT_EQ(world.refreshes, response && response->statusCode == 401);
    const QString who = "Task " + uuidText(task.id);
    const QString typed = who + " type=" + rawName(type);
    EXPECT_EQ(QFile::exists(picture), outcome != 'D');
    EXPECT_EQ(world.heard.size(), outcome == 't');
    EXPECT_EQ(log.count(typed + " permanent client error; dropping."), outcome == 'd' || outcome == 'D');
    EXPECT_EQ(log.count(typed + " failed (attempt 1): "), outcome == 'r');
    EXPECT_EQ(log.count(who + " offline transport error; rescheduling without retry penalty"),
              outcome == 'o');
    EXPECT_EQ(log.count("Screenshot upload failed for file: "), type == Type::screenshot);
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
    const Type types[] = {Type::heartbeat, Type::screenshot, Type::activitySegment, Type::startSession};
    for (std::size_t i = 0; i < 4 * cases.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "failure " << i / 4 << " of task type " << i % 4);
        check(types[i % 4], cases[i / 4].first, cases[i / 4].second[i % 4]);
    }
}

TEST_F(Upload, ladderEndsWithTheSixthFailure) {
    const QString mine = picture();
    const QString who = "Task " + uuidText(addScreenshot(mine).id);
    answer(404);
    for (const int step : {4, 8, 16, 32, 64}) {
        run();
        EXPECT_NEAR(dueIn(), step + 0.5, 0.5);
        pass(dueIn() - 0.001);
        run(); // not due yet
        pass(0.002);
    }
    EXPECT_EQ(requests.size(), 5u);
    const LogCapture log;
    run();
    EXPECT_EQ(rows(), "");
    EXPECT_TRUE(QFile::exists(mine)); // for the next orphan sweep
    EXPECT_EQ(log.lines(QtCriticalMsg).filter(who),
              QStringList({who + " type=screenshot failed (attempt 6): The server answered with status 404.",
                           who + " exceeded max retries, discarding."}));
}

TEST_F(Upload, beingOfflineNeverCountsAndDelaysAreSpreadEvenly) {
    add(Type::heartbeat);
    sql("UPDATE upload_queue SET retry_count = 5");
    reply(Network::failure(Code::notConnectedToInternet));
    std::set<Seconds> offline, steps;
    for (int i = 0; i < 100; ++i, pass(91)) {
        run();
        ASSERT_EQ(rows(), "heartbeat failed 5");
        offline.insert(dueIn());
        steps.insert(retry.nextAttemptDate(1000) - machine.clock.now());
    }
    EXPECT_NEAR(*offline.begin(), 61.5, 1.5);
    EXPECT_NEAR(*offline.rbegin(), 88.5, 1.5);
    EXPECT_NEAR(*steps.begin(), 64.05, 0.05);
    EXPECT_NEAR(*steps.rbegin(), 64.95, 0.05);
}

TEST_F(Upload, rowThatCannotBeSentMakesNoRequest) {
    const UploadTask gone = addScreenshot("/nowhere/at/all.jpg");
    circuitOpensAfter(4, std::nullopt);
    const LogCapture log;
    run();
    EXPECT_EQ(log.lines(), QStringList("Task " + uuidText(gone.id) + " file not found; dropping."));
    EXPECT_TRUE(circuitOpensAfter(1, 500)); // neither a success nor a failure was noted
    retry.registerSuccess();
    for (const Type type : {Type::heartbeat, Type::screenshot, Type::startSession})
        add(type, 10, std::nullopt);
    addScreenshot(directory.path()); // a folder is there, but does not read
    run();
    EXPECT_EQ(rows(), "heartbeat failed 1, screenshot failed 1, startSession failed 1, screenshot failed 1");
    EXPECT_EQ(sent(), "");
}

TEST_F(Upload, pictureThatCannotBeDeletedCountsAsSent) {
    const QString mine = picture();
    addScreenshot(mine);
    const LogCapture log;
    machine.urlSession.setServer(
        [&](const URLRequest&) { return QFile::remove(mine), Network::answer(200); });
    run();
    EXPECT_EQ(rows(), "");
    EXPECT_EQ(log.count("Failed to delete screenshot after upload: " + QFileInfo(mine).fileName()), 1);
}

TEST_F(Upload, circuitOpensAtTheFifthFailureAndThenEachTimeForLonger) {
    const LogCapture log;
    EXPECT_FALSE(circuitOpensAfter(5, std::nullopt));
    EXPECT_FALSE(circuitOpensAfter(1, 499));
    EXPECT_TRUE(circuitOpensAfter(1, 500)); // the others could not open it, but they count
    retry.registerSuccess();
    EXPECT_FALSE(circuitOpensAfter(4, 500));
    int failures = 4;
    for (const int cooldown : {60, 120, 240, 480, 600, 600}) {
        EXPECT_TRUE(circuitOpensAfter(1, 503));
        EXPECT_EQ(
            log.lines().last(),
            QString("Circuit breaker opened for %1.000000s after %2 failures").arg(cooldown).arg(++failures));
        pass(cooldown - 0.001);
        EXPECT_TRUE(circuitIsOpen()) << cooldown;
        pass(0.001);
        EXPECT_FALSE(circuitIsOpen()) << cooldown; // at the very instant
    }
    circuitOpensAfter(1, 503);
    machine.timeline.jumpWallClock(-13 * 3600); // must not stretch a cool-down
    EXPECT_FALSE(circuitIsOpen());
}

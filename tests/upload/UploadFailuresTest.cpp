#include "UploadWorld.h"

namespace {

using Type = UploadTaskType;
using Code = URLError::Code;
using Failure =
    std::variant<int, Code>; ///< A status, -1 for an answer that is not HTTP; or a transport error.

/// Sends one task into the failure, and checks all that is to come of it: 'r'etry, 'o'ffline, 't'akeover,
/// 'd'ropped, 'D'ropped with its file.
void check(Type type, const Failure& failure, char outcome) {
    UploadWorld world;
    const QString picture = world.picture();
    const UploadTask task = type == Type::screenshot ? world.addScreenshot(picture) : world.add(type);
    if (type == Type::activitySegment)
        world.closedSegment(9);
    const auto* code = std::get_if<Code>(&failure);
    if (code)
        world.fail(*code);
    else if (failure == Failure(-1))
        world.machine.urlSession.setServer(
            [](const URLRequest&) { return UploadWorld::Network::Reply{URLResponse{}}; });
    else
        world.answer(std::get<int>(failure), "failed");
    world.registerFailures(3, std::nullopt);
    const LogCapture log;
    world.run();

    const QString who = "Task " + uuidText(task.id);
    const QString typed = who + " type=" + rawName(type);
    EXPECT_EQ(world.requests.size(), 1u);
    EXPECT_EQ(QFile::exists(picture), outcome != 'D');
    EXPECT_EQ(world.heard.size(), outcome == 't');
    EXPECT_EQ(log.contains(typed + " permanent client error; dropping."), outcome == 'd' || outcome == 'D');
    EXPECT_EQ(log.contains(typed + " failed (attempt 1): "), outcome == 'r');
    EXPECT_EQ(log.contains(who + " offline transport error; rescheduling without retry penalty"),
              outcome == 'o');
    EXPECT_EQ(log.contains("Screenshot upload failed for file: "), type == Type::screenshot);
    EXPECT_EQ(log.contains("API request failed: POST /api/v1/"), code != nullptr);
    const QString left = outcome == 'r' ? " failed 1" : outcome == 'o' ? " failed 0" : "";
    EXPECT_EQ(world.rows(), left.isEmpty() ? left : rawName(type) + left);
    // Three failures before this task; only a retry makes it four, so that one more opens the circuit.
    world.retry.registerFailure(500);
    EXPECT_EQ(world.circuitIsOpen(), outcome == 'r');
}

} // namespace

TEST(UploadFailures, eachKindOfTaskDoesAsTheTableTells) {
    const std::pair<Failure, const char*> cases[] = {
        // heartbeat, screenshot, activitySegment, startSession
        {400, "drdr"},
        {404, "trrd"},
        {409, "trrd"},
        {413, "rDrr"},
        {422, "dDdd"},
        {-1, "rrrr"},
        {301, "rrrr"},
        {401, "rrrr"},
        {403, "rrrr"},
        {429, "rrrr"},
        {500, "rrrr"},
        {503, "rrrr"},
        {Code::notConnectedToInternet, "oooo"},
        {Code::networkConnectionLost, "oooo"},
        {Code::cannotConnectToHost, "oooo"},
        {Code::cannotFindHost, "oooo"},
        {Code::dnsLookupFailed, "oooo"},
        {Code::dataNotAllowed, "oooo"},
        {Code::timedOut, "rrrr"},
        {Code::cancelled, "rrrr"},
        {Code::other, "rrrr"},
    };
    const Type types[] = {Type::heartbeat, Type::screenshot, Type::activitySegment, Type::startSession};
    for (const auto& [failure, outcomes] : cases) {
        for (int i = 0; i < 4; ++i) {
            SCOPED_TRACE(testing::Message() << "case " << &failure - &cases[0].first << ' ' << outcomes << i);
            check(types[i], failure, outcomes[i]);
        }
    }
}

TEST_F(Upload, ladderEndsWithTheSixthFailure) {
    const QString mine = picture();
    const QString who = "Task " + uuidText(addScreenshot(mine).id);
    answer(404);
    for (const int step : {4, 8, 16, 32, 64}) {
        const std::size_t before = requests.size();
        run();
        EXPECT_EQ(requests.size(), before + 1);
        EXPECT_NEAR(dueIn(), step + 0.5, 0.5);
        pass(dueIn() - 0.001);
        run(); // not due yet
        EXPECT_EQ(requests.size(), before + 1);
        pass(0.002);
    }
    const LogCapture log;
    run();
    EXPECT_EQ(rows(), "");
    EXPECT_TRUE(QFile::exists(mine)); // for the next orphan sweep
    EXPECT_EQ(log.lines(QtCriticalMsg).filter(who),
              QStringList({who + " type=screenshot failed (attempt 6): The server answered with status 404.",
                           who + " exceeded max retries, discarding."}));
}

TEST_F(Upload, beingOfflineNeverCountsAndWaitsSixtyToNinetySeconds) {
    add(Type::heartbeat);
    sql("UPDATE upload_queue SET retry_count = 5");
    fail(Code::notConnectedToInternet);
    double least = 1e9;
    double most = 0;
    for (int i = 0; i < 100; ++i) {
        run();
        ASSERT_EQ(rows(), "heartbeat failed 5");
        least = std::min(least, dueIn());
        most = std::max(most, dueIn());
        pass(dueIn() + 0.001);
    }
    EXPECT_NEAR(least, 61.5, 1.5);
    EXPECT_NEAR(most, 88.5, 1.5);
}

TEST_F(Upload, rowThatCannotBeSentMakesNoRequest) {
    const UploadTask gone = addScreenshot("/nowhere/at/all.jpg");
    registerFailures(4, std::nullopt);
    const LogCapture log;
    run();
    EXPECT_EQ(log.lines(), QStringList("Task " + uuidText(gone.id) + " file not found; dropping."));
    retry.registerFailure(500);
    EXPECT_TRUE(circuitIsOpen()); // neither a success nor a failure was noted
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
    machine.urlSession.setServer([&](const URLRequest&) {
        QFile::remove(mine); // gone before the answer
        return Network::answer(200);
    });
    run();
    EXPECT_EQ(rows(), "");
    EXPECT_EQ(log.count("Failed to delete screenshot after upload: " + QFileInfo(mine).fileName() + " — "),
              1);
}

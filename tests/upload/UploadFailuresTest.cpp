#include "LogCapture.h"
#include "UploadWorld.h"

#include <QDir>
#include <QFile>

namespace {

using Type = UploadTaskType;
using Code = URLError::Code;
enum Outcome { retried, offline, takenOver, dropped, droppedWithFile };

/// A transport error, or a status; -1 means that the answer was not HTTP.
struct Failure {
    std::optional<Code> transport;
    int status = 0;

    SimulatedURLSession::Reply reply() const {
        if (transport)
            return SimulatedURLSession::failure(*transport);
        if (status < 0)
            return {URLResponse{}};
        return SimulatedURLSession::answer(status, "failed");
    }
};

Outcome told(const Failure& failure, Type type) {
    static const std::map<std::pair<int, Type>, Outcome> exceptions = {
        {{404, Type::heartbeat}, takenOver},        {{409, Type::heartbeat}, takenOver},
        {{400, Type::heartbeat}, dropped},          {{400, Type::activitySegment}, dropped},
        {{404, Type::startSession}, dropped},       {{409, Type::startSession}, dropped},
        {{413, Type::screenshot}, droppedWithFile}, {{422, Type::screenshot}, droppedWithFile},
        {{422, Type::heartbeat}, dropped},          {{422, Type::startSession}, dropped},
        {{422, Type::activitySegment}, dropped},
    };
    if (failure.transport)
        return *failure.transport < Code::timedOut ? offline : retried;
    const auto found = exceptions.find({failure.status, type});
    return found == exceptions.end() ? retried : found->second;
}

/// Sends one task of the type into the failure, and checks all that is to come of it.
void check(Type type, const Failure& failure) {
    SCOPED_TRACE(rawName(type).toStdString() + " transport " +
                 std::to_string(failure.transport ? int(*failure.transport) : -1) + " status " +
                 std::to_string(failure.status));
    UploadWorld world;
    const QString picture = world.picture(0);
    const UploadTask task = type == Type::screenshot ? world.addScreenshot(picture) : world.add(type);
    if (type == Type::activitySegment)
        world.closedSegment(9);
    world.machine.urlSession.setServer([&](const URLRequest&) { return failure.reply(); });
    for (int i = 0; i < 3; ++i)
        world.retry.registerFailure(std::nullopt);
    const LogCapture log;
    world.run();

    const Outcome outcome = told(failure, type);
    const QString who = "Task " + uuidText(task.id);
    const QString typed = who + " type=" + rawName(type);
    ASSERT_EQ(world.requests().size(), 1u);
    EXPECT_EQ(QFile::exists(picture), outcome != droppedWithFile);
    EXPECT_EQ(world.takeovers.size(), outcome == takenOver ? 1u : 0u);
    EXPECT_EQ(log.lines(QtCriticalMsg).contains(typed + " permanent client error; dropping."),
              outcome == dropped || outcome == droppedWithFile);
    EXPECT_EQ(log.lines(QtCriticalMsg).filter(typed + " failed (attempt 1): ").size(), outcome == retried);
    EXPECT_EQ(
        log.lines(QtInfoMsg).contains(who + " offline transport error; rescheduling without retry penalty"),
        outcome == offline);
    EXPECT_EQ(log.count("Screenshot upload failed for file: "), type == Type::screenshot);
    EXPECT_EQ(log.count("API request failed: POST /api/v1/"), failure.transport.has_value());

    if (outcome == retried || outcome == offline) {
        ASSERT_EQ(world.rows(),
                  QStringList(rawName(type) + (outcome == retried ? " failed 1" : " failed 0")));
        const double due = world.dueIn();
        EXPECT_GE(due, outcome == retried ? 4 : 60);
        EXPECT_LE(due, outcome == retried ? 5 : 90);
    } else {
        EXPECT_TRUE(world.rows().isEmpty());
    }
    // Three failures before this task; only a retry makes it four, so that one more opens the circuit.
    EXPECT_FALSE(world.circuitIsOpen());
    world.retry.registerFailure(500);
    EXPECT_EQ(world.circuitIsOpen(), outcome == retried);
}

} // namespace

TEST(UploadFailures, eachKindOfTaskDoesAsTheTableTells) {
    for (const Type type : {Type::heartbeat, Type::screenshot, Type::activitySegment, Type::startSession}) {
        for (int code = 0; code <= int(Code::other); ++code)
            check(type, {static_cast<Code>(code), 0});
        for (const int status : {-1, 301, 400, 401, 403, 404, 409, 413, 422, 429, 500, 503})
            check(type, {std::nullopt, status});
    }
}

TEST(UploadFailures, theLadderEndsWithTheSixthFailure) {
    UploadWorld world;
    const QString picture = world.picture(0);
    const UploadTask task = world.addScreenshot(picture);
    world.serverAnswers(404);
    for (const int step : {4, 8, 16, 32, 64}) {
        world.run();
        const double due = world.dueIn();
        EXPECT_GE(due, step);
        EXPECT_LE(due, step + 1);
        const std::size_t requests = world.requests().size();
        world.timeline().advance(due - 0.001);
        world.run();
        EXPECT_EQ(world.requests().size(), requests); // not due yet
        world.timeline().advance(0.002);
    }
    const LogCapture log;
    world.run();
    EXPECT_TRUE(world.rows().isEmpty());
    EXPECT_TRUE(QFile::exists(picture)); // for the next orphan sweep
    const QString who = "Task " + uuidText(task.id);
    EXPECT_EQ(log.lines(QtCriticalMsg).filter(who),
              QStringList({who + " type=screenshot failed (attempt 6): The server answered with status 404.",
                           who + " exceeded max retries, discarding."}));
}

TEST(UploadFailures, beingOfflineNeverCountsAndWaitsSixtyToNinetySeconds) {
    UploadWorld world;
    UploadTask task = world.add(UploadTaskType::heartbeat);
    task.retryCount = 5;
    world.store.enqueueUploadTask(task);
    world.serverFails(URLError::Code::notConnectedToInternet);
    double least = 1e9;
    double most = 0;
    for (int i = 0; i < 100; ++i) {
        world.run();
        ASSERT_EQ(world.rows(), QStringList("heartbeat failed 5"));
        least = std::min(least, world.dueIn());
        most = std::max(most, world.dueIn());
        world.timeline().advance(world.dueIn() + 0.001);
    }
    EXPECT_GE(least, 60);
    EXPECT_LT(least, 63);
    EXPECT_GT(most, 87);
    EXPECT_LE(most, 90);
    world.serverAnswers(200);
    world.run();
    EXPECT_TRUE(world.rows().isEmpty());
}

TEST(UploadFailures, aRowThatCannotBeSentMakesNoRequest) {
    UploadWorld world;
    const UploadTask gone = world.addScreenshot("/nowhere/at/all.jpg");
    for (int i = 0; i < 4; ++i)
        world.retry.registerFailure(std::nullopt);
    const LogCapture log;
    world.run();
    EXPECT_TRUE(world.rows().isEmpty());
    EXPECT_EQ(log.lines(), QStringList("Task " + uuidText(gone.id) + " file not found; dropping."));
    world.retry.registerFailure(500);
    EXPECT_TRUE(world.circuitIsOpen()); // neither a success nor a failure was noted
    world.retry.registerSuccess();

    UploadTask bare = world.add(UploadTaskType::heartbeat);
    bare.jsonPayload.reset();
    world.store.enqueueUploadTask(bare);
    bare.type = UploadTaskType::screenshot;
    bare.id = world.machine.random.uuid();
    world.store.enqueueUploadTask(bare);
    bare.type = UploadTaskType::startSession;
    bare.id = world.machine.random.uuid();
    world.store.enqueueUploadTask(bare);
    world.addScreenshot(world.directory.path()); // a folder is there, but does not read
    world.run();
    EXPECT_EQ(world.rows(), QStringList({"heartbeat failed 1", "screenshot failed 1", "startSession failed 1",
                                         "screenshot failed 1"}));
    EXPECT_TRUE(world.requests().empty());
}

TEST(UploadFailures, aPictureIsSentAsItLiesAndMayStayWhenItCannotBeDeleted) {
    UploadWorld world;
    const QString empty = world.picture(0, "");
    world.addScreenshot(empty);
    const LogCapture log;
    world.machine.urlSession.setServer([&](const URLRequest&) {
        QFile::remove(empty); // gone before the answer
        return SimulatedURLSession::answer(200);
    });
    world.run();
    EXPECT_TRUE(world.requests().front().body.contains("image/jpeg\r\n\r\n\r\n--Boundary-"));
    EXPECT_TRUE(world.rows().isEmpty());
    const QStringList errors = log.lines(QtCriticalMsg);
    ASSERT_EQ(errors.size(), 1);
    EXPECT_TRUE(errors[0].startsWith(
        "Failed to delete screenshot after upload: " + QFileInfo(empty).fileName() + " — "));
}

#include "LogCapture.h"
#include "UploadWorld.h"

#include <QFile>

TEST(UploadLaunch, whatACrashInterruptedRunsAgainWithoutPenalty) {
    UploadWorld world;
    UploadTask task = world.add(UploadTaskType::heartbeat);
    task.retryCount = 3;
    task.status = UploadTaskStatus::inProgress;
    world.store.enqueueUploadTask(task);
    UploadTask foreign = task;
    foreign.id = world.machine.random.uuid();
    world.store.enqueueUploadTask(foreign, "other.test");
    world.run();
    EXPECT_TRUE(world.requests().empty());
    world.await(world.service.start());
    EXPECT_EQ(world.sql("SELECT domain_key, status, retry_count FROM upload_queue ORDER BY 1"),
              QStringList({"acme.test inProgress 3", "other.test pending 3"}));
    world.timeline().advance(1);
    EXPECT_EQ(world.requests().size(), 1u);
    EXPECT_EQ(world.rows(), QStringList("heartbeat pending 3")); // waits until its company is back
}

TEST(UploadLaunch, removesWhatBelongsToNoCompany) {
    UploadWorld world;
    world.zones.store("Pacific/Kiritimati"); // UTC+14: there, thirty days ago is 16 October 2023
    world.store.enqueueUploadTask(world.add(UploadTaskType::heartbeat), "global");
    world.store.upsertActivitySegment({"2023-10-15", 3, 1, 1, 1, 1}, "other.test");
    world.store.upsertActivitySegment({"2023-10-16", 3, 1, 1, 1, 1}, "other.test");
    world.store.upsertActivitySegment({"2023-10-01", 3, 1, 1, 1, 1});
    world.serverAnswers(500);
    const LogCapture log;
    world.await(world.service.start());
    EXPECT_EQ(log.lines(QtInfoMsg).first(),
              "Launch cleanup: removed 2 unattributable row(s) (global-domain queue/segments, zero segments, "
              "stale foreign-domain segments)");
    EXPECT_EQ(world.sql("SELECT domain_key, segment_date FROM activity_segments ORDER BY 1"),
              QStringList({"acme.test 2023-10-01", "other.test 2023-10-16"}));
    world.timeline().advance(1);
}

TEST(UploadLaunch, adoptsStrandedPicturesOfThisCompanyAndOnlyAgesThoseOfOthers) {
    UploadWorld world;
    const QString name = world.sessionText + "_t_%1.jpg";
    const QString mine = world.fileNamed(name.arg(0), 100);
    world.addScreenshot(world.fileNamed(name.arg(1), 100));
    const QString foreign = world.fileNamed(name.arg(2), 604800, "other.test");
    const QString foreignOld = world.fileNamed(name.arg(3), 604801, "other.test");
    world.serverFails(URLError::Code::networkConnectionLost);
    const LogCapture log;
    world.await(world.service.start());
    EXPECT_EQ(log.lines(QtInfoMsg).first(), "Orphan sweeper: enqueued 1 stranded screenshot(s)");
    EXPECT_EQ(world.sql("SELECT count(*), count(DISTINCT file_path) FROM upload_queue"), QStringList("2 2"));
    EXPECT_TRUE(world.store.hasScreenshotTask(world.session, mine));
    EXPECT_TRUE(QFile::exists(foreign));
    EXPECT_FALSE(QFile::exists(foreignOld));
    world.timeline().advance(1);
}

TEST(UploadLaunch, runsAtOnceAndThirtySecondsAfterEachRunHasEnded) {
    UploadWorld world;
    world.add(UploadTaskType::metadata);
    world.await(world.service.start());
    const LogCapture log;
    world.timeline().advance(29.9);
    EXPECT_TRUE(log.lines().isEmpty());
    world.timeline().advance(0.2);
    EXPECT_EQ(log.lines(), QStringList("processQueue: no tasks in queue"));
    world.machine.urlSession.setServer(
        [](const URLRequest&) { return SimulatedURLSession::answer(200, {}, 7); });
    world.add(UploadTaskType::heartbeat);
    world.timeline().advance(30 + 7 + 29.8);
    EXPECT_EQ(log.count("no tasks in queue"), 1);
    world.timeline().advance(0.2);
    EXPECT_EQ(log.count("no tasks in queue"), 2);
}

// Steps of sessions that the database does not take at once.

#include "EngineTest.h"
#include "model/CaptureFileName.h"
#include "storage/CaptureFolder.h"
#include "tests/support/LogCapture.h"

#include <QElapsedTimer>

using namespace Qt::StringLiterals;

namespace {

const QString diskFull = u"Not saved: the disk is full. Tracking goes on and is saved as soon as possible."_s;

/// A disk without room, for the database.
struct FullDatabaseDisk {
    FullDatabaseDisk() {
        writeWith([](int, const void*, std::size_t, off_t) {
            errno = ENOSPC;
            return ssize_t(-1);
        });
    }
    ~FullDatabaseDisk() { writeWith(nullptr); }

    static void writeWith(ssize_t (*write)(int, const void*, std::size_t, off_t)) {
        sqlite3_vfs* const disk = sqlite3_vfs_find(nullptr);
        for (const char* call : {"pwrite", "pwrite64"}) // the library was built with one of them
            disk->xSetSystemCall(disk, call, reinterpret_cast<sqlite3_syscall_ptr>(write));
    }
};

struct SessionJournalTest : EngineTest {
    QString database() { return world.directory.filePath("Velmora TimeTracker/timetracker.sqlite"); }
    void refuse(const QByteArray& write) {
        world.sql("CREATE TRIGGER t BEFORE " + write + " BEGIN SELECT RAISE(ABORT, 'refused'); END");
    }
    void allow() { world.sql("DROP TRIGGER t"); }
    qint64 startsReported() { return static_cast<qint64>(world.bodies("sessions/start").size()); }
};

} // namespace

TEST_F(SessionJournalTest, AStopThatOneWriteKeepsOutIsWrittenLater) {
    for (const QByteArray write : {"INSERT ON session_history", "INSERT ON upload_queue", "DELETE ON sessions"}) {
        SCOPED_TRACE(write.constData());
        world.start();
        world.tick(100);
        const QUuid id = world.session().id;
        const Seconds today = engine().todayTotalSeconds();
        const LogCapture log;
        refuse(write);
        engine().stopTracking();
        world.tick(30);
        EXPECT_TRUE(engine().notSavedMessage().has_value());
        EXPECT_NEAR(engine().todayTotalSeconds(), today, 1) << "today's figure keeps the session";
        EXPECT_EQ(endsReported(id), 0);
        EXPECT_EQ(world.activeSessions().size(), 1U) << "nothing is half done";
        allow();
        world.tick(2);
        EXPECT_EQ(engine().notSavedMessage(), std::nullopt);
        EXPECT_EQ(endsReported(id), 1);
        EXPECT_NEAR(static_cast<double>(lastTotal()), 100, 1);
        EXPECT_TRUE(world.activeSessions().empty());
        EXPECT_EQ(world.mark(id), std::nullopt);
    }
}

TEST_F(SessionJournalTest, AStartThatWasKeptOutIsReportedOnce) {
    const LogCapture log;
    refuse("INSERT ON upload_queue");
    world.start();
    world.tick(10);
    EXPECT_TRUE(engine().isTracking() && engine().notSavedMessage());
    EXPECT_EQ(startsReported(), 0);
    allow();
    world.tick(2);
    EXPECT_EQ(startsReported(), 1);
    EXPECT_EQ(world.activeSessions().front().id, world.session().id);
}

TEST_F(SessionJournalTest, NothingOfASessionIsSentWhileItsStartIsNotSaved) {
    const LogCapture log;
    refuse("INSERT ON upload_queue");
    world.start();
    world.typeFor(400); // two pictures
    EXPECT_TRUE(world.bodies("sessions/heartbeat").empty()) << "the server does not know the session";
    allow();
    world.typeFor(300);
    EXPECT_EQ(startsReported(), 1);
    EXPECT_EQ(world.bodies("sessions/heartbeat").size(), 1U);
}

TEST_F(SessionJournalTest, ACrashWhileStepsWaitBillsWhatWasRunAndNoPause) {
    const auto crash = [this] {
        world.die();
        allow();
        world.launch();
        engine().resumeInterruptedSession();
        engine().stopTracking();
        return static_cast<double>(lastTotal());
    };
    const LogCapture log;
    world.start();
    world.tick(100);
    refuse("INSERT ON sessions");
    engine().pauseTracking();
    world.tick(3000);
    resume();
    world.tick(300);
    engine().pauseTracking();
    EXPECT_NEAR(crash(), 100, 1) << "the row knows nothing of what came after the pause";

    world.start();
    world.tick(100);
    refuse("INSERT ON sessions");
    engine().pauseTracking();
    resume();
    world.typeFor(600);
    allow();
    world.tick(10); // saved
    refuse("INSERT ON sessions");
    EXPECT_NEAR(crash(), 700, 2) << "what waited is proved when it is saved";

    world.start();
    world.tick(100);
    refuse("INSERT ON sessions");
    world.typeFor(2000); // the counts of each picture wait
    EXPECT_NEAR(crash(), 2100, 60) << "the row has the interval that ran";

    world.start();
    world.tick(100);
    world.die();
    refuse("INSERT ON sessions");
    world.tick(3000);
    world.launch();
    engine().resumeInterruptedSession();
    world.tick(300);
    EXPECT_NEAR(crash(), 60, 1) << "the recovery was not saved";

    world.start();
    world.tick(100);
    refuse("INSERT ON session_history");
    engine().stopTracking();
    EXPECT_NEAR(crash(), 100, 1) << "the stop was not saved";
}

TEST_F(SessionJournalTest, WhatAFullDiskOrABusyDatabaseKeptOutIsWrittenInOrder) {
    for (const bool isBusy : {false, true}) {
        const size_t before = world.finishedSessions().size();
        world.start("p1");
        world.tick(50);
        const LogCapture log;
        {
            sqlite3* other = nullptr;
            ASSERT_EQ(sqlite3_open(QFile::encodeName(database()).constData(), &other), SQLITE_OK);
            ASSERT_EQ(sqlite3_exec(other, isBusy ? "BEGIN IMMEDIATE" : "SELECT 1", nullptr, nullptr, nullptr),
                      SQLITE_OK);
            std::optional<FullDatabaseDisk> disk;
            if (!isBusy)
                disk.emplace();
            engine().stopTracking();
            world.start("p2");
            world.tick(5);
            engine().pauseTracking();
            engine().stopTracking();
            EXPECT_EQ(engine().notSavedMessage() == diskFull, !isBusy)
                << qPrintable(engine().notSavedMessage().value_or(QString()));
            EXPECT_EQ(world.finishedSessions().size(), before);
            world.start("p1"); // what waits is not completed a second time
            engine().stopTracking();
            sqlite3_close(other);
        }
        world.tick(2);
        EXPECT_EQ(engine().notSavedMessage(), std::nullopt);
        EXPECT_EQ(world.finishedSessions().size(), before + 3);
        for (const Session& session : world.finishedSessions())
            EXPECT_EQ(endsReported(session.id), 1);
    }
}

TEST_F(SessionJournalTest, ABusyDatabaseStallsNoStopAndLosesNoPicture) {
    world.start();
    world.tick(30);
    const QString captures =
        CaptureFolder::capturesDirectory(world.machine.information, world.core->domain.domainKey()) + u'/';
    for (int index = 0; index < 60; ++index) {
        QFile file(captures + CaptureFileName::format(world.session().id, "x", index));
        EXPECT_TRUE(file.open(QFile::WriteOnly));
    }
    const LogCapture log;
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(database()).constData(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    QElapsedTimer clock;
    clock.start();
    engine().stopTracking();
    EXPECT_LT(clock.elapsed(), 1000) << "the person waits";
    world.tick(5);
    sqlite3_close(other);
    world.tick(200);
    EXPECT_TRUE(QDir(captures).isEmpty()) << "sent";
}

TEST_F(SessionJournalTest, WithoutADatabaseTheTimeIsKeptUntilThereIsOne) {
    world.start();
    world.tick(100);
    engine().stopTracking();
    world.tick(1);
    world.die();
    const QString folder = world.directory.filePath("Velmora TimeTracker");
    ASSERT_TRUE(QDir().rename(folder, folder + ".away"));
    QFile inTheWay(folder);
    ASSERT_TRUE(inTheWay.open(QFile::WriteOnly));
    const LogCapture log;
    world.launch();
    world.tick(5);
    world.start();
    world.tick(60);
    EXPECT_EQ(engine().notSavedMessage(), "Not saved: the program's folder cannot be written. Tracking goes "
                                          "on and is saved as soon as possible.");
    engine().stopTracking();
    ASSERT_TRUE(inTheWay.remove() && QDir().rename(folder + ".away", folder));
    world.tick(2);
    EXPECT_NEAR(static_cast<double>(lastTotal()), 60, 1);
    EXPECT_EQ(startsReported(), 2);
    EXPECT_NEAR(engine().todayTotalSeconds(), 160, 1) << "what was in it counts again";
}

TEST_F(SessionJournalTest, TheLogOfTheLastAttemptHoldsWhatToEnterByHand) {
    world.start("p1", "First");
    world.tick(100);
    const LogCapture log;
    refuse("INSERT ON session_history");
    engine().stopTracking();
    const QString id = uuidText(world.activeSessions().front().id);
    world.machine.power.willTerminate();
    const QStringList lines = log.lines(QtCriticalMsg).filter("to be entered by hand");
    ASSERT_EQ(lines.size(), 1);
    for (const QString& part : {id, u"p1 \"First\""_s, u"2024-05-15T09:00:00Z to 2024-05-15T09:01:40Z"_s})
        EXPECT_TRUE(lines.front().contains(part)) << qPrintable(lines.front());
    allow();
    world.machine.power.willTerminate();
    EXPECT_EQ(log.count("to be entered by hand"), 1) << "a last attempt that succeeds";
}

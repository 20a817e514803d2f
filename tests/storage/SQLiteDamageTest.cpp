#include "FaultyDisk.h"
#include "LogCapture.h"
#include "SQLiteStore.h"
#include "StoreWorld.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>
#include <random>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr Date start = Date::since1970(1'700'000'000);

void fill(SQLiteStore& store, int rows) {
    for (int number = 0; number < rows; ++number) {
        store.enqueueUploadTask(storedTask(number, UploadTaskType::heartbeat, 100, start + number));
        store.upsertActivitySegment({"2024-05-01", number, 1, 1, 1, 1});
        store.saveActiveSession(storedSession(number, start, std::nullopt));
        store.appendSessionHistory(storedSession(number, start, start + 5));
    }
}

/// Every operation, with what it must answer when the store works.
testing::AssertionResult works(SQLiteStore& store) {
    UploadTask task = storedTask(90001, UploadTaskType::startSession, 1000, start - 1e6);
    task.filePath = "/tmp/works.jpg";
    store.enqueueUploadTask(task);
    if (store.nextUploadTask(start) != task) {
        return testing::AssertionFailure() << "enqueue, next";
    }
    store.updateUploadTaskStatus(task.id, UploadTaskStatus::inProgress);
    if (!store.pendingUploadFilePaths().contains("/tmp/works.jpg") ||
        store.pendingUploadTaskIds(task.sessionId, {task.type}).empty()) {
        return testing::AssertionFailure() << "paths, ids";
    }
    store.resetStaleInProgressTasks();
    store.markUploadTaskFailed(task.id, 1, start + 1e6);
    const auto later = store.nextUploadTask(start + 1e6);
    if (!later || later->id != task.id || later->retryCount != 1) {
        return testing::AssertionFailure() << "reset, failed";
    }
    store.markUploadTaskCompleted(task.id);
    const auto after = store.nextUploadTask(start + 1e6);
    if (after && after->id == task.id) {
        return testing::AssertionFailure() << "completed";
    }
    const Session session = storedSession(90001, start + 1e6, start + 1e6 + 9);
    store.saveActiveSession(session);
    store.appendSessionHistory(session);
    const auto active = store.loadAllActiveSessions();
    if (std::ranges::find(active, session) == active.end() ||
        store.sessionHistory(start + 1e6, start + 1e6 + 1).size() != 1) {
        return testing::AssertionFailure() << "sessions";
    }
    store.clearActiveSession(session.id);
    store.upsertActivitySegment({"2000-01-01", 5, 1, 2, 3, 4});
    const auto segments = store.pendingActivitySegmentsForUpload("2000-01-01", 6);
    store.markActivitySegmentUploaded("2000-01-01", 5);
    if (segments.size() != 1 || !store.pendingActivitySegmentsForUpload("2000-01-01", 6).empty()) {
        return testing::AssertionFailure() << "segments";
    }
    store.cleanupUnattributableData("1990-01-01");
    return testing::AssertionSuccess();
}

QByteArray content(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void overwrite(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

mode_t mode(const QString& path) {
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 0777 : 0;
}

} // namespace

TEST(SQLiteDamage, setsAFileAsideThatIsNoDatabase) {
    const auto header = [](int offset, char byte) {
        return [=](QByteArray whole) {
            whole[offset] = byte;
            return whole;
        };
    };
    const struct {
        const char* name;
        std::function<QByteArray(QByteArray)> damage;
    } cases[] = {
        {"garbage", [](QByteArray) { return QByteArray(5000, 'x'); }},
        {"a short text", [](QByteArray) { return QByteArray("hello"); }},
        {"a truncated header", [](QByteArray whole) { return whole.left(50); }},
        {"half a file", [](QByteArray whole) { return whole.left(whole.size() / 2); }},
        {"another magic", header(3, '!')},
        {"another page size", header(16, 3)},
        {"a later format for writing", header(18, 9)},
        {"a later format for reading", header(19, 9)},
        {"a later format of the schema", header(47, 99)},
        {"another text encoding", header(59, 2)},
        {"a schema that does not parse",
         [](QByteArray whole) { return whole.replace("CREATE INDEX", "CREATE IMDEX"); }},
        {"a table without a column",
         [](QByteArray whole) { return whole.replace("active_seconds INTEGER", "active_sekonds INTEGER"); }},
    };
    for (const auto& c : cases) {
        StoreWorld world;
        fill(world.open(), 40);
        world.close();
        const QByteArray damaged = c.damage(content(world.file()));
        overwrite(world.file(), damaged);
        overwrite(world.folder() + "/config.json", "{}");
        const LogCapture log;
        SQLiteStore& store = world.open();
        EXPECT_TRUE(works(store)) << c.name;
        EXPECT_EQ(log.count("set aside as"), 1) << c.name << log.lines().join('\n').toStdString();
        EXPECT_EQ(log.lines().size(), 1) << c.name << log.lines().join('\n').toStdString();
        const QString aside = world.folder() + "/timetracker.sqlite.unreadable-20231114-221320";
        EXPECT_EQ(content(aside), damaged) << c.name;
        EXPECT_EQ(mode(aside), 0600U);
        EXPECT_EQ(content(world.folder() + "/config.json"), "{}");
        EXPECT_TRUE(works(world.reopen())) << c.name;
        EXPECT_EQ(world.filesSetAside().size(), 1) << c.name << world.filesSetAside().join(" ").toStdString();
    }
}

TEST(SQLiteDamage, setsTheLogsAsideWithTheirFile) {
    StoreWorld world;
    fill(world.open(), 5);
    SQLiteStore& store = world.reopen();
    store.markUploadTaskCompleted(numberedId(1));
    const QString wal = world.file() + "-wal";
    const QByteArray log = content(wal);
    ASSERT_FALSE(log.isEmpty());
    world.close();
    overwrite(world.file(), "garbage");
    overwrite(wal, log);
    EXPECT_TRUE(works(world.open()));
    const QString aside = world.folder() + "/timetracker.sqlite.unreadable-20231114-221320";
    EXPECT_EQ(content(aside), "garbage");
    EXPECT_EQ(content(aside + "-wal"), log);
    EXPECT_EQ(world.sql("SELECT count(*) FROM upload_queue"), QStringList("0"));
    // A second one in the same second does not take the first one's place.
    world.close();
    overwrite(world.file(), "more garbage");
    EXPECT_TRUE(works(world.open()));
    EXPECT_EQ(content(aside + "-2"), "more garbage");
}

TEST(SQLiteDamage, setsAFolderAside) {
    StoreWorld world;
    ASSERT_TRUE(QDir().mkpath(world.file() + "/inside"));
    EXPECT_TRUE(works(world.open()));
    EXPECT_TRUE(QDir(world.folder() + "/timetracker.sqlite.unreadable-20231114-221320/inside").exists());
}

TEST(SQLiteDamage, survivesRandomMutations) {
    StoreWorld origin;
    fill(origin.open(), 60);
    origin.close();
    const QByteArray whole = content(origin.file());
    std::mt19937 random(20240229);
    const auto below = [&random](qsizetype limit) {
        return static_cast<qsizetype>(random() % static_cast<quint64>(limit));
    };
    int replaced = 0;
    for (int trial = 0; trial < 120; ++trial) {
        QByteArray bytes = whole;
        switch (trial % 4) {
        case 0: // one bit, anywhere in the file
            bytes[below(bytes.size())] ^= static_cast<char>(1 << below(8));
            break;
        case 1: // a few bytes in the header and the schema
            for (int i = 0; i < 3; ++i) {
                bytes[below(4096)] = static_cast<char>(below(256));
            }
            break;
        case 2: // a torn page
            bytes.replace(below(bytes.size() / 512) * 512, 512,
                          QByteArray(512, static_cast<char>(below(256))));
            break;
        default:
            bytes.truncate(below(bytes.size()));
        }
        StoreWorld world;
        world.close();
        ASSERT_TRUE(QDir().mkpath(world.folder()));
        overwrite(world.file(), bytes);
        const LogCapture log;
        works(world.open()); // damage that only use shows is mended or replaced here
        EXPECT_TRUE(works(*world.store)) << trial;
        EXPECT_TRUE(works(world.reopen())) << trial;
        replaced += world.filesSetAside().isEmpty() ? 0 : 1;
    }
    EXPECT_GT(replaced, 40) << "the mutations did harm";
    EXPECT_LT(replaced, 110) << "what can be kept is kept";
}

TEST(SQLiteDamage, mendsAnIndexInUseWithoutLosingRows) {
    StoreWorld world;
    fill(world.open(), 40);
    world.close();
    // In the index alone, the status of one row becomes another one; the row itself stays.
    QByteArray bytes = content(world.file());
    const qsizetype page = bytes.indexOf(QByteArray("acme.testpending") + QByteArray());
    ASSERT_GT(page, 0);
    bytes.replace(page + 9, 7, "pendinh");
    overwrite(world.file(), bytes);
    const LogCapture log;
    SQLiteStore& store = world.open();
    for (int number = 0; number < 40; ++number) {
        store.updateUploadTaskStatus(numberedId(number), UploadTaskStatus::failed);
        store.updateUploadTaskStatus(numberedId(number), UploadTaskStatus::pending);
    }
    EXPECT_TRUE(works(store));
    EXPECT_GE(log.count("failed rc=11"), 1) << "the planted damage was met";
    EXPECT_TRUE(world.filesSetAside().isEmpty());
    EXPECT_EQ(world.sql("SELECT count(*) FROM upload_queue"), QStringList("40"));
    EXPECT_EQ(world.sql("PRAGMA integrity_check"), QStringList("ok"));
}

TEST(SQLiteDamage, aFailingDiskLosesNothingInSilence) {
    FaultyDisk disk;
    int planted = 0;
    for (const int code : {SQLITE_IOERR_WRITE, SQLITE_FULL}) {
        for (const bool isLasting : {false, true}) {
            for (int call = 1;; ++call) {
                StoreWorld world;
                fill(world.open(), 2);
                world.close();
                const LogCapture log;
                disk.failAt(call, code, isLasting);
                world.open();
                const UploadTask task = storedTask(100, UploadTaskType::heartbeat, 500, start);
                world.store->enqueueUploadTask(task);
                world.store->upsertActivitySegment({"2024-05-02", 1, 1, 1, 1, 1});
                world.store->nextUploadTask(start);
                world.store->markUploadTaskFailed(task.id, 1, start);
                disk.heal();
                if (disk.failures() == 0) {
                    break;
                }
                ++planted;
                const bool isSilent = log.lines().isEmpty();
                ASSERT_TRUE(works(world.reopen())) << call;
                ASSERT_TRUE(world.filesSetAside().isEmpty())
                    << "a sound file was set aside " << call << ' ' << log.lines().join('\n').toStdString();
                ASSERT_TRUE(
                    world.store->pendingUploadTaskIds(task.sessionId, {UploadTaskType::heartbeat}).size() >=
                    2);
                if (isSilent) {
                    ASSERT_EQ(world.store->nextUploadTask(start)->id, task.id) << call;
                    ASSERT_EQ(world.store->nextUploadTask(start)->retryCount, 1) << call;
                    ASSERT_FALSE(world.store->pendingActivitySegmentsForUpload("2024-05-02", 2).empty())
                        << call;
                }
            }
        }
    }
    EXPECT_GT(planted, 40);
}

TEST(SQLiteDamage, aFailingWriteIsLoggedOnceUntilItWorksAgain) {
    FaultyDisk disk;
    StoreWorld world;
    SQLiteStore& store = world.open();
    const LogCapture log;
    disk.failAt(1, SQLITE_FULL, true);
    for (int i = 0; i < 10; ++i) {
        store.saveActiveSession(storedSession(1, start, std::nullopt));
    }
    EXPECT_EQ(log.count("SQLiteStore: failed rc=13"), 1) << log.lines().join('\n').toStdString();
    disk.heal();
    store.saveActiveSession(storedSession(1, start, std::nullopt));
    EXPECT_EQ(log.count("works again after 10 failures"), 1);
    EXPECT_TRUE(store.loadActiveSession());
}

TEST(SQLiteDamage, withoutAFileEverythingIsEmpty) {
    // Root writes anywhere, so that a folder that cannot be made stands in for one that cannot be written.
    QTemporaryDir directory;
    overwrite(directory.filePath("file"), "in the way");
    MemoryPreferenceStore preferences;
    const DomainStorage domain(preferences);
    Timeline timeline;
    SimulatedClock clock(timeline);
    SimulatedRandom random;
    const LogCapture log;
    SQLiteStore store(directory.filePath("file") + "/Velmora TimeTracker", domain, clock, random);
    EXPECT_EQ(log.count("SQLiteStore: failed to open DB rc=14"), 1);
    fill(store, 3);
    store.resetStaleInProgressTasks();
    store.clearActiveSession(std::nullopt);
    EXPECT_TRUE(store.loadAllActiveSessions().empty() && store.sessionHistory(start - 1, start + 1).empty());
    EXPECT_FALSE(store.nextUploadTask(start) || store.hasActivitySegmentTask() ||
                 store.hasScreenshotTask(numberedId(1), "x"));
    EXPECT_TRUE(store.pendingUploadFilePaths().isEmpty());
    EXPECT_TRUE(store.pendingUploadTaskIds(numberedId(7), {UploadTaskType::heartbeat}).empty());
    EXPECT_TRUE(store.pendingActivitySegmentsForUpload("2024-05-02", 0).empty());
    EXPECT_EQ(store.segmentActivitySummary(start, start + 1e6).nonIdlePercentSum, 0);
    EXPECT_EQ(store.cleanupUnattributableData("2024-01-01"), 0);
    EXPECT_EQ(content(directory.filePath("file")), "in the way");
}

TEST(SQLiteDamage, aReadOnlyFolderKeepsItsFile) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "rights do not bind this user";
    }
    StoreWorld world;
    fill(world.open(), 3);
    world.close();
    QFile::setPermissions(world.folder(), QFile::ReadOwner | QFile::ExeOwner);
    fill(world.open(), 3);
    world.close();
    QFile::setPermissions(world.folder(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    EXPECT_TRUE(works(world.open()));
    EXPECT_TRUE(world.filesSetAside().isEmpty());
    EXPECT_TRUE(world.store->hasActivitySegmentTask() || world.store->nextUploadTask(start + 10));
}

TEST(SQLitePrivacy, filesAreTheUsersOwnWhateverTheMask) {
    for (const mode_t mask : {0000, 0022, 0277}) {
        StoreWorld world;
        const mode_t before = ::umask(mask);
        fill(world.open(), 1);
        ::umask(before);
        EXPECT_EQ(mode(world.folder()), 0700U);
        for (const char* suffix : {"", "-wal", "-shm"}) {
            EXPECT_EQ(mode(world.file() + QLatin1StringView(suffix)), 0600U) << suffix << " mask " << mask;
        }
        world.close();
        QFile::setPermissions(world.file(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
        fill(world.open(), 1);
        EXPECT_EQ(mode(world.file()), 0600U);
        EXPECT_EQ(mode(world.file() + "-wal"), 0600U);
    }
}

// The watcher of the main thread's answers, and its log.

#include "MainThreadWatchdog.h"
#include "ISO8601.h"
#include "LogCapture.h"
#include "Timeline.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

/// A main thread that answers late.
class BusyExecutor : public SimulatedExecutor {
public:
    using SimulatedExecutor::SimulatedExecutor;
    Seconds busyFor = 0;
    void post(Job job) override { pending_.push_back(after(busyFor, std::move(job))); }

private:
    std::vector<std::unique_ptr<Timer>> pending_;
};

struct Watchdog : testing::Test {
    Timeline timeline;
    SimulatedClock clock{timeline};
    SimulatedExecutor queue{timeline};
    BusyExecutor main{timeline};
    std::vector<Seconds> stalls;
    std::optional<MainThreadWatchdog> watchdog{std::in_place, clock, queue, main,
                                               [this](Seconds stall) { stalls.push_back(stall); }};
};

struct StallLogFile : testing::Test {
    QTemporaryDir folder;
    QString file = StallLog::defaultLogURL(folder.filePath("Velmora TimeTracker"));
    QString older = folder.filePath("Velmora TimeTracker/mainthread-stalls.old.log");
    Date now = ISO8601::parse("2024-05-15T09:00:00Z").value() + 0.9;

    static QByteArray content(const QString& path) {
        QFile read(path);
        return read.open(QFile::ReadOnly) ? read.readAll() : QByteArray();
    }
    void fill(qint64 size) {
        QFile write(file);
        ASSERT_TRUE(write.open(QFile::WriteOnly));
        write.write(QByteArray(size, 'x'));
    }
};

} // namespace

TEST_F(Watchdog, ReportsAnswersFromTheThresholdOn) {
    const struct {
        Seconds busyFor;
        std::vector<Seconds> expected;
    } cases[] = {{0, {}}, {0.24, {}}, {0.25, {0.25}}, {1.5, {1.5}}};
    watchdog->start();
    watchdog->start(); // no second timer
    timeline.advance(1);
    for (const auto& c : cases) {
        stalls.clear();
        main.busyFor = c.busyFor;
        timeline.advance(2); // one ping
        main.busyFor = 0;
        timeline.advance(2);
        EXPECT_EQ(stalls, c.expected);
    }
}

TEST_F(Watchdog, LetsEachPingReportItsOwnWait) {
    watchdog->start();
    main.busyFor = 5;
    timeline.advance(2);
    main.busyFor = 3;
    timeline.advance(2);
    main.busyFor = 1;
    timeline.advance(2);
    main.busyFor = 0;
    timeline.advance(10);
    EXPECT_EQ(stalls, (std::vector<Seconds>{5, 3, 1}));
}

TEST_F(Watchdog, IsSilentAfterItsEnd) {
    watchdog->start();
    main.busyFor = 1;
    timeline.advance(2.5);
    watchdog.reset();
    timeline.advance(20);
    EXPECT_TRUE(stalls.empty());
}

TEST_F(StallLogFile, WritesALineForTheUserAlone) {
    LogCapture log;
    StallLog::append(file, now, 1.2349);
    StallLog::append(file, now + 60, 0.25);
    EXPECT_EQ(content(file), "2024-05-15T09:00:00Z,1234\n2024-05-15T09:01:00Z,250\n");
    EXPECT_TRUE(log.contains("Main thread stall: 1234ms"));
    EXPECT_EQ(QFileInfo(file).permissions() & 0x77, QFile::Permissions());
    EXPECT_EQ(QFileInfo(QFileInfo(file).path()).permissions() & 0x77, QFile::Permissions());
}

TEST_F(StallLogFile, RotatesAboveAMillionBytes) {
    const QByteArray line = "2024-05-15T09:00:00Z,250\n";
    StallLog::append(file, now, 0.25);
    fill(StallLog::rotateAbove - line.size());
    StallLog::append(file, now, 0.25);
    EXPECT_EQ(QFileInfo(file).size(), 1'000'000); // exactly: stays
    EXPECT_FALSE(QFile::exists(older));
    StallLog::append(file, now, 0.25);
    EXPECT_FALSE(QFile::exists(file));
    EXPECT_EQ(QFileInfo(older).size(), 1'000'000 + line.size());
    fill(StallLog::rotateAbove - line.size() + 1);
    StallLog::append(file, now, 0.25); // replaces the older one
    EXPECT_EQ(QFileInfo(older).size(), 1'000'001);
}

TEST_F(StallLogFile, SwallowsWhatCannotBeWritten) {
    StallLog::append("/proc/velmora/none/stalls.log", now, 1);
    ASSERT_TRUE(QDir().mkpath(file)); // a folder in the file's place
    StallLog::append(file, now, 1);
    EXPECT_TRUE(QFileInfo(file).isDir());
}

#include "application/MainThreadWatchdog.h"
#include "model/ISO8601.h"
#include "platform/simulated/Timeline.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

TEST(MainThreadWatchdog, ReportsEachAnswerFromTheThresholdOn) {
    Timeline timeline, mainThread; // whose own time runs only when it is not busy
    SimulatedClock clock{timeline};
    SimulatedExecutor queue{timeline}, main{mainThread};
    std::vector<Seconds> stalls;
    MainThreadWatchdog watchdog{clock, queue, main, [&](Seconds stall) { stalls.push_back(stall); }};
    watchdog.start();
    watchdog.start();    // no second timer
    timeline.advance(2); // to the first ping
    for (const Seconds busy : {0.0, 0.25, 1.5, 5.0, 0.24}) {
        timeline.advance(busy);
        mainThread.settle();
        timeline.advance(2 - std::fmod(busy, 2)); // to the next ping
    }
    EXPECT_EQ(stalls, (std::vector<Seconds>{0.25, 1.5, 5, 3, 1})) << "each ping that waits tells its own time";
}

TEST(StallLog, WritesALineAndRotatesAboveAMillionBytes) {
    QTemporaryDir folder;
    const QString file = StallLog::defaultLogURL(folder.filePath("Velmora TimeTracker"));
    const QString older = folder.filePath("Velmora TimeTracker/mainthread-stalls.old.log");
    const Date now = ISO8601::parse("2024-05-15T09:00:00Z").value() + 0.9;
    StallLog::append(file, now, 1.2349);
    StallLog::append(file, now + 60, 0.25);
    QFile read(file);
    ASSERT_TRUE(read.open(QFile::ReadOnly));
    EXPECT_EQ(read.readAll(), "2024-05-15T09:00:00Z,1234\n2024-05-15T09:01:00Z,250\n");
    for (int round = 0; round < 2; ++round) { // the second replaces the first
        StallLog::append(file, now, 0.25);
        ASSERT_TRUE(QFile::resize(file, 999'975));
        for (const qint64 size : {1'000'000, 0}) { // exactly a million: stays
            StallLog::append(file, now, 0.25);
            EXPECT_EQ(QFileInfo(file).size(), size);
        }
        EXPECT_EQ(QFileInfo(older).size(), 1'000'025);
    }
    StallLog::append("/proc/velmora/none/stalls.log", now, 1); // swallowed
}

#include "CaptureFolder.h"

#include "DatabaseProbe.h"
#include "SimulatedPlatform.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

TEST(CaptureFolder, removesTheOldestButNothingQueued) {
    const QTemporaryDir folder(fastTemporaryFolder());
    const QDateTime start = QDateTime::fromSecsSinceEpoch(1'700'000'000);
    const auto path = [&](int number) { return folder.filePath(QString("%1.jpg").arg(1000 - number)); };
    const auto add = [&](const QString& name, int age) {
        QFile file(name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_TRUE(file.setFileTime(start.addSecs(-age), QFileDevice::FileModificationTime));
    };
    for (int i = 0; i < 505; ++i)
        add(path(i), 505 - i); // 0 is the oldest, and sorts last by name
    add(folder.filePath(".hidden"), 9000);
    int asked = 0;
    const auto queued = [&] {
        ++asked;
        return QSet<QString>{path(0), path(1), path(2), path(300)};
    };
    CaptureFolder::cleanupOldCaptures(folder.path(), 505, queued);
    EXPECT_EQ(asked, 0);
    CaptureFolder::cleanupOldCaptures(folder.path(), CaptureFolder::maxFileCount, queued);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(QFile::exists(path(i)), i < 3 || i > 7) << i;
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 500);
    EXPECT_TRUE(QFile::exists(folder.filePath(".hidden")));

    // What cannot be removed (a folder here) still counts, so that no newer file goes in its place.
    ASSERT_TRUE(QDir(folder.path()).mkdir("sub"));
    ASSERT_TRUE(QDir(folder.path()).mkdir("sub/inner"));
    QFile sub(folder.filePath("sub"));
    CaptureFolder::cleanupOldCaptures(folder.path(), 499, [] { return QSet<QString>(); });
    EXPECT_TRUE(QFile::exists(folder.filePath("sub/inner")));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 498);
    CaptureFolder::cleanupOldCaptures("/nowhere", 0, queued);
}

#include "ApplicationFolder.h"

#include "SimulatedPlatform.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {
mode_t mode(const QString& path) {
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 0777 : 0;
}
} // namespace

TEST(ApplicationFolder, makesEveryLevelPrivateWhateverTheMask) {
    for (const mode_t mask : {0000, 0022, 0377}) {
        QTemporaryDir directory;
        SimulatedInformation information;
        information.supportDirectory = directory.filePath("share/data");
        const QString own = ApplicationFolder::path(information);
        EXPECT_EQ(own, directory.filePath("share/data/Velmora TimeTracker"));
        EXPECT_FALSE(QDir(own).exists());
        const mode_t before = ::umask(mask);
        EXPECT_TRUE(ApplicationFolder::create(own + "/captures/acme.test/"));
        ::umask(before);
        for (const char* level : {"/../..", "/..", "", "/captures", "/captures/acme.test"}) {
            EXPECT_EQ(mode(own + QLatin1StringView(level)), 0700U) << level << " mask " << mask;
        }
    }
}

TEST(ApplicationFolder, closesWhatWasOpenAndOnlyItsOwn) {
    QTemporaryDir directory;
    const QString own = directory.filePath("data/Velmora TimeTracker");
    ASSERT_TRUE(QDir().mkpath(own + "/captures/other"));
    for (const QString& level :
         {directory.filePath("data"), own, own + "/captures", own + "/captures/other"}) {
        ASSERT_EQ(::chmod(QFile::encodeName(level).constData(), 0755), 0);
    }
    EXPECT_TRUE(ApplicationFolder::create(own + "/captures"));
    EXPECT_EQ(mode(directory.filePath("data")), 0755U) << "the user's own business";
    EXPECT_EQ(mode(own), 0700U);
    EXPECT_EQ(mode(own + "/captures"), 0700U);

    const QString preferences = directory.filePath("data/velmora-timetracker");
    ASSERT_TRUE(QDir().mkdir(preferences));
    ASSERT_EQ(::chmod(QFile::encodeName(preferences).constData(), 0755), 0);
    EXPECT_TRUE(ApplicationFolder::create(preferences));
    EXPECT_EQ(mode(preferences), 0700U);

    QFile inTheWay(own + "/file");
    ASSERT_TRUE(inTheWay.open(QIODevice::WriteOnly));
    EXPECT_FALSE(ApplicationFolder::create(own + "/file"));
    EXPECT_FALSE(ApplicationFolder::create(own + "/file/below"));
}

TEST(ApplicationFolder, setsFilesAsideUnderFreeNames) {
    QTemporaryDir directory;
    const QString file = directory.filePath("config.json");
    const auto write = [&](const QByteArray& text) {
        QFile target(file);
        ASSERT_TRUE(target.open(QIODevice::WriteOnly));
        target.write(text);
    };
    EXPECT_EQ(ApplicationFolder::setAside(file, "20240501-093000"), QString());
    for (const char* suffix : {"", "-2", "-3"}) {
        write(suffix);
        const QString aside = ApplicationFolder::setAside(file, "20240501-093000");
        EXPECT_EQ(aside, file + ".unreadable-20240501-093000" + suffix);
        QFile moved(aside);
        ASSERT_TRUE(moved.open(QIODevice::ReadOnly));
        EXPECT_EQ(moved.readAll(), suffix);
    }
    EXPECT_FALSE(QFile::exists(file));
}

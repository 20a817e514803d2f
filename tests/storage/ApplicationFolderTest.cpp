#include "ApplicationFolder.h"

#include "SimulatedPlatform.h"
#include "StoreWorld.h"

namespace {

TEST(ApplicationFolder, MakesEveryLevelPrivateWhateverTheMask) {
    for (const mode_t mask : {0000, 0022, 0377}) {
        const QTemporaryDir directory;
        SimulatedInformation information;
        information.supportDirectory = directory.filePath("share/data");
        const QString own = ApplicationFolder::path(information);
        EXPECT_EQ(own, directory.filePath("share/data/Velmora TimeTracker"));
        const mode_t before = ::umask(mask);
        EXPECT_TRUE(ApplicationFolder::create(own + "/captures/acme.test/"));
        ::umask(before);
        for (const char* level : {"/../..", "/..", "", "/captures", "/captures/acme.test"})
            EXPECT_EQ(modeOf(own + level), 0700U) << level << " mask " << mask;
    }
}

TEST(ApplicationFolder, ClosesWhatWasOpenAndOnlyItsOwn) {
    const QTemporaryDir directory;
    const QString data = directory.filePath("data");
    const QString captures = data + "/Velmora TimeTracker/captures";
    const QString preferences = data + "/velmora-timetracker";
    ASSERT_TRUE(QDir().mkpath(captures) && QDir().mkpath(preferences));
    const std::pair<QString, mode_t> folders[] = {
        {data, 0755U}, {data + "/Velmora TimeTracker", 0700U}, {captures, 0700U}, {preferences, 0700U}};
    for (const auto& [folder, mode] : folders)
        ASSERT_EQ(::chmod(QFile::encodeName(folder).constData(), 0755), 0);
    EXPECT_TRUE(ApplicationFolder::create(captures) && ApplicationFolder::create(preferences));
    for (const auto& [folder, mode] : folders)
        EXPECT_EQ(modeOf(folder), mode) << folder.toStdString();
    overwrite(data + "/file", "in the way");
    EXPECT_FALSE(ApplicationFolder::create(data + "/file") ||
                 ApplicationFolder::create(data + "/file/below"));
}

} // namespace

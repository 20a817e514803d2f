#include "JsonPreferenceStore.h"

#include "LinuxClock.h"
#include "LogCapture.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

struct JsonPreferenceStoreTest : testing::Test {
    LinuxClock clock;
    const QTemporaryDir home;
    const QString folder = home.filePath("config/velmora-timetracker");
    const QString file = folder + "/preferences.json";

    void write(const QByteArray& text) const {
        QDir().mkpath(folder);
        QFile target(file);
        ASSERT_TRUE(target.open(QIODevice::WriteOnly) && target.write(text) == text.size());
    }
    static int modeOf(const QString& path) {
        struct stat status {};
        return stat(QFile::encodeName(path).constData(), &status) == 0 ? int(status.st_mode & 07777) : -1;
    }
};

TEST_F(JsonPreferenceStoreTest, TypedValuesOutliveTheProcessInAFileForTheUserAlone) {
    const mode_t before = umask(0);
    {
        JsonPreferenceStore store(file, clock);
        EXPECT_TRUE(store.value("text").isUndefined());
        store.set("text", "Zoë \"quoted\"");
        ASSERT_TRUE(QFile::setPermissions(file, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
        store.set("flag", true);
        EXPECT_EQ(modeOf(file), 0600) << "also one that was opened to others";
        EXPECT_EQ(modeOf(folder), 0700);
        store.set("moment", 1700000000.1234567);
        store.set("gone", 1);
        store.remove("gone");
    }
    umask(before);
    const JsonPreferenceStore store(file, clock);
    EXPECT_EQ(store.string("text"), "Zoë \"quoted\"");
    EXPECT_EQ(store.boolean("flag"), true);
    EXPECT_EQ(store.number("moment"), 1700000000.1234567);
    EXPECT_TRUE(store.value("gone").isUndefined());
    EXPECT_EQ(store.boolean("text"), std::nullopt);
}

TEST_F(JsonPreferenceStoreTest, AFileThatCannotBeReadIsKeptAside) {
    for (const QByteArray& broken :
         {QByteArray("{\"a\": 1"), QByteArray("[1]"), QByteArray(), QByteArray("\0\xff", 2)}) {
        QDir(folder).removeRecursively();
        write(broken);
        const LogCapture log;
        JsonPreferenceStore(file, clock).set("key", "new");
        EXPECT_TRUE(log.contains("Preferences cannot be read"));
        QFile kept(folder + '/' + QDir(folder).entryList({"preferences.json.unreadable-*"}).value(0));
        ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
        EXPECT_EQ(kept.readAll(), broken);
        EXPECT_EQ(JsonPreferenceStore(file, clock).string("key"), "new");
    }
}

TEST_F(JsonPreferenceStoreTest, AFailedWriteIsALogLineAndGoesWithTheNext) {
    JsonPreferenceStore store(file, clock);
    store.set("first", 1);
    // A file in the place of the folder keeps anybody from writing, root included.
    ASSERT_TRUE(QDir().rename(folder, folder + ".away") && QFile(folder).open(QIODevice::WriteOnly));
    const LogCapture log;
    store.set("second", 2);
    EXPECT_EQ(log.count("Preferences cannot be written"), 1);
    EXPECT_EQ(store.number("second"), 2);
    ASSERT_TRUE(QFile::remove(folder) && QDir().rename(folder + ".away", folder));
    EXPECT_EQ(JsonPreferenceStore(file, clock).number("first"), 1) << "the old file is whole";
    store.set("second", 2);
    EXPECT_EQ(JsonPreferenceStore(file, clock).number("second"), 2);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 1) << "nothing half written stays";
}

} // namespace

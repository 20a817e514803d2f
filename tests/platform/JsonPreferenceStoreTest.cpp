#include "JsonPreferenceStore.h"

#include "LinuxClock.h"
#include "LogCapture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace {

int modeOf(const QString& path) {
    struct stat status {};
    return stat(QFile::encodeName(path).constData(), &status) == 0 ? int(status.st_mode & 07777) : -1;
}

struct JsonPreferenceStoreTest : testing::Test {
    LinuxClock clock;
    const QTemporaryDir home;
    const QString folder = home.filePath("config/velmora-timetracker");
    const QString file = folder + "/preferences.json";

    void write(const QByteArray& text) {
        QDir().mkpath(folder);
        QFile target(file);
        ASSERT_TRUE(target.open(QIODevice::WriteOnly) && target.write(text) == text.size());
    }
};

TEST_F(JsonPreferenceStoreTest, ValuesOfEachTypeOutliveTheProcess) {
    {
        JsonPreferenceStore store(file, clock);
        EXPECT_TRUE(store.value("text").isUndefined());
        store.set("text", "Zoë \"quoted\"");
        store.set("flag", true);
        store.set("moment", 1700000000.1234567);
        store.set("gone", 1);
        store.remove("gone");
        store.remove("never there");
    }
    const JsonPreferenceStore store(file, clock);
    EXPECT_EQ(store.string("text"), "Zoë \"quoted\"");
    EXPECT_EQ(store.boolean("flag"), true);
    EXPECT_EQ(store.number("moment"), 1700000000.1234567);
    EXPECT_TRUE(store.value("gone").isUndefined());
    EXPECT_EQ(store.boolean("text"), std::nullopt);
}

TEST_F(JsonPreferenceStoreTest, OnlyTheUserReadsThemWhateverTheUmask) {
    const mode_t before = umask(0);
    JsonPreferenceStore store(file, clock);
    store.set("key", 1);
    EXPECT_EQ(modeOf(folder), 0700);
    EXPECT_EQ(modeOf(file), 0600);
    ASSERT_TRUE(QFile::setPermissions(file, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    store.set("key", 2);
    EXPECT_EQ(modeOf(file), 0600) << "also one that was opened to others";
    umask(before);
}

TEST_F(JsonPreferenceStoreTest, AFileThatCannotBeReadIsKeptAside) {
    for (const QByteArray& broken :
         {QByteArray("{\"a\": 1"), QByteArray("[1]"), QByteArray(""), QByteArray("\0\xff", 2)}) {
        SCOPED_TRACE(broken.constData());
        QDir(folder).removeRecursively();
        write(broken);
        const LogCapture log;
        JsonPreferenceStore store(file, clock);
        EXPECT_TRUE(log.contains("Preferences cannot be read"));
        const auto aside = QDir(folder).entryList({"preferences.json.unreadable-*"}, QDir::Files);
        ASSERT_EQ(aside.size(), 1);
        QFile kept(folder + "/" + aside.first());
        ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
        EXPECT_EQ(kept.readAll(), broken);
        store.set("key", "new");
        EXPECT_EQ(JsonPreferenceStore(file, clock).string("key"), "new");
    }
}

TEST_F(JsonPreferenceStoreTest, AFailedWriteIsALogLineAndGoesWithTheNext) {
    JsonPreferenceStore store(file, clock);
    store.set("first", 1);
    // A folder in the place of the file's folder cannot be written by anybody, root included.
    ASSERT_TRUE(QDir().rename(folder, folder + ".away"));
    write("");
    ASSERT_TRUE(QDir().rename(file, folder + ".file") && QDir().rmdir(folder) &&
                QDir().rename(folder + ".file", folder));
    const LogCapture log;
    store.set("second", 2);
    EXPECT_EQ(log.count("Preferences cannot be written"), 1);
    EXPECT_EQ(store.number("second"), 2);

    ASSERT_TRUE(QFile::remove(folder) && QDir().rename(folder + ".away", folder));
    EXPECT_EQ(JsonPreferenceStore(file, clock).number("first"), 1) << "the old file is whole";
    store.set("second", 2);
    EXPECT_EQ(JsonPreferenceStore(file, clock).number("second"), 2);
}

TEST_F(JsonPreferenceStoreTest, WritesFromSeveralThreadsLoseNothing) {
    JsonPreferenceStore store(file, clock);
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 4; ++writer) {
        writers.emplace_back([&, writer] {
            for (int i = 0; i < 20; ++i)
                store.set(QString("%1-%2").arg(writer).arg(i), i);
        });
    }
    for (auto& writer : writers)
        writer.join();
    const JsonPreferenceStore again(file, clock);
    for (int writer = 0; writer < 4; ++writer)
        for (int i = 0; i < 20; ++i)
            EXPECT_EQ(again.number(QString("%1-%2").arg(writer).arg(i)), i);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 1) << "nothing half written stays";
}

} // namespace

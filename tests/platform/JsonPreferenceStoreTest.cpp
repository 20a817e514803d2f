#include "JsonPreferenceStore.h"

#include "LinuxClock.h"
#include "LogCapture.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

struct JsonPreferenceStoreTest : testing::Test {
    LinuxClock clock;
    const QTemporaryDir home;
    const QString folder = home.filePath("config/velmora-timetracker");
    const QString file = folder + "/preferences.json";
};

TEST_F(JsonPreferenceStoreTest, TypedValuesOutliveTheProcess) {
    {
        JsonPreferenceStore store(file, clock);
        store.set("text", "Zoë \"quoted\"");
        store.set("flag", true);
        store.set("moment", 1700000000.1234567);
        store.set("gone", 1);
        store.remove("gone");
    }
    const JsonPreferenceStore store(file, clock);
    EXPECT_EQ(store.string("text"), "Zoë \"quoted\"");
    EXPECT_EQ(store.boolean("flag"), true);
    EXPECT_EQ(store.number("moment"), 1700000000.1234567);
    EXPECT_TRUE(store.value("gone").isUndefined());
    EXPECT_EQ(store.boolean("text"), std::nullopt);
}

TEST_F(JsonPreferenceStoreTest, AFileThatCannotBeReadIsKeptAside) {
    for (const QByteArray& broken : {QByteArray("{\"a\": 1"), QByteArray("[1]"), QByteArray()}) {
        QDir(folder).removeRecursively();
        QDir().mkpath(folder);
        QFile damaged(file);
        ASSERT_TRUE(damaged.open(QIODevice::WriteOnly) && damaged.write(broken) == broken.size());
        damaged.close();
        JsonPreferenceStore(file, clock).set("key", "new");
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
}

} // namespace

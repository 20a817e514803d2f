#include "JsonPreferenceStore.h"

#include "FullDisk.h"
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

TEST_F(JsonPreferenceStoreTest, ValuesOutliveTheProcessAndAFailedWriteGoesWithTheNext) {
    JsonPreferenceStore store(file, clock);
    store.set("moment", 1700000000.1234567);
    store.set("gone", 1);
    store.remove("gone");
    {
        const LogCapture log;
        const FullDisk disk(10);
        store.set("flag", true);
        EXPECT_EQ(log.count("Preferences cannot be written"), 1);
    }
    const JsonPreferenceStore before(file, clock);
    EXPECT_EQ(before.number("moment"), 1700000000.1234567) << "the old file is whole";
    EXPECT_TRUE(before.value("gone").isUndefined());
    store.set("flag", true);
    EXPECT_EQ(JsonPreferenceStore(file, clock).boolean("flag"), true);
}

} // namespace

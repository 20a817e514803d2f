#include "JsonPreferenceStore.h"

#include "FullDisk.h"
#include "LinuxClock.h"
#include "LogCapture.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <fstream>
#include <gtest/gtest.h>

TEST(JsonPreferenceStore, AFileThatCannotBeReadIsKeptAside) {
    LinuxClock clock;
    for (const QByteArray& broken : {QByteArray("{\"a\": 1"), QByteArray("[1]"), QByteArray()}) {
        const QTemporaryDir folder;
        const QString file = folder.filePath("preferences.json");
        std::ofstream(file.toStdString()) << broken.toStdString();
        JsonPreferenceStore(file, clock).set("key", "new");
        QFile kept(folder.filePath(QDir(folder.path()).entryList({"*.json.unreadable-*"}).value(0)));
        ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
        EXPECT_EQ(kept.readAll(), broken);
        EXPECT_EQ(JsonPreferenceStore(file, clock).string("key"), "new");
    }
}

TEST(JsonPreferenceStore, ValuesOutliveTheProcessAndAFailedWriteGoesWithTheNext) {
    LinuxClock clock;
    const QTemporaryDir home;
    const QString file = home.filePath("config/velmora-timetracker/preferences.json");
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

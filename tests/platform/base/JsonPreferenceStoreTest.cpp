#include "platform/linux/base/JsonPreferenceStore.h"

#include "platform/linux/base/LinuxClock.h"
#include "tests/support/FullDisk.h"
#include "tests/support/LogCapture.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>

TEST(JsonPreferenceStore, AFileThatMakesNoSenseIsKeptAside) {
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

TEST(JsonPreferenceStore, AFileThatCannotBeReadIsLeftAsItIsAndMergedIntoOnceItCan) {
    LinuxClock clock;
    const QTemporaryDir folder;
    const QString file = folder.filePath("preferences.json"), hidden = folder.filePath("hidden.json");
    const auto write = [&] {
        QFile(file).remove();
        std::ofstream(file.toStdString()) << R"({"company": "acme", "device": "old", "gone": 1, "target": 1})";
    };
    const auto breakLink = [&](const QString& target) {
        return QFile::rename(file, hidden) && QFile::link(target, file);
    };
    struct rlimit before {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const std::tuple<const char*, std::function<bool()>, std::function<void()>> cases[] = {
        {"no descriptor is left",
         [&] {
             const rlimit none{0, before.rlim_max};
             return ::setrlimit(RLIMIT_NOFILE, &none) == 0;
         },
         [&] { ::setrlimit(RLIMIT_NOFILE, &before); }},
        {"it cannot be opened", [&] { return breakLink(file); }, write},
        {"reading fails", [&] { return breakLink("/proc/self/mem"); }, write},
    };
    for (const auto& [name, obstruct, heal] : cases) {
        SCOPED_TRACE(name);
        QFile(hidden).remove();
        write();
        ASSERT_TRUE(obstruct());
        const LogCapture log;
        JsonPreferenceStore store(file, clock);
        store.set("target", 2);
        store.setDefault("device", "new");
        store.setDefault("made", "up");
        store.remove("gone");
        EXPECT_EQ(store.string("device"), "new");
        EXPECT_TRUE(log.contains("Preferences cannot be read"));
        heal();
        EXPECT_EQ(JsonPreferenceStore(file, clock).number("target"), 1) << "nothing was written";
        store.set("mark", 3);
        QFile merged(file);
        ASSERT_TRUE(merged.open(QIODevice::ReadOnly));
        EXPECT_EQ(QJsonDocument::fromJson(merged.readAll()).object(),
                  (QJsonObject{{"company", "acme"}, {"device", "old"}, {"made", "up"}, {"mark", 3}, {"target", 2}}));
        EXPECT_EQ(store.string("device"), "old");
        EXPECT_TRUE(QDir(folder.path()).entryList({"*unreadable*"}).isEmpty());
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

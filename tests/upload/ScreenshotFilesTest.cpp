#include "ScreenshotFiles.h"

#include "UploadWorld.h"

using namespace ScreenshotFiles;

TEST(ScreenshotNames, areWrittenInTheZoneOfTheCompanyWhereTheyTellATime) {
    const QString id = sessionText + u'_';
    const std::pair<QString, QString> cases[] = {
        // The name, and what is sent: empty for the same.
        {id + "2025-03-14T02-30-00Z_0.jpg", id + "2025-03-14T09-30-00+07-00_0.jpg"},
        {id + "2025-03-14T02-30-00.250Z_11.jpg", id + "2025-03-14T09-30-00+07-00_11.jpg"},
        {id + "20250314T093000+0700_1.jpg", id + "2025-03-14T09-30-00+07-00_1.jpg"},
        {id + "2025-03-14T04-30-00+0200_0.jpg", id + "2025-03-14T09-30-00+07-00_0.jpg"},
        {id + "2025-03-14T02-30-00Z_0.jpg.jpg", id + "2025-03-14T09-30-00+07-00_0.jpg"},
        {id + "2025-03-14T09-30-00+07-00_0.jpg", {}}, // the sign found is the one inside the offset
        {id + "2025-03-14T02-30-00Z.jpg", {}},
        {id + "2025-13-14T02-30-00Z_0.jpg", {}},
        {id + "2025-03-14T02-30-00Z_0_1.jpg", {}}, // all before the last "_" is the time
        {id + "yesterday_0.jpg", {}},
        {"other_2025-03-14T02-30-00Z_0.jpg", {}},
    };
    for (const auto& [name, sent] : cases)
        EXPECT_EQ(normalizedScreenshotUploadFileName("/f/" + name, QUuid(sessionText),
                                                     QTimeZone("Asia/Ho_Chi_Minh")),
                  sent.isEmpty() ? name : sent);
}

TEST(ScreenshotNames, restoredTokenKeepsTheBackwardScan) {
    const std::pair<const char*, std::optional<QString>> cases[] = {
        {"2025-03-14T09-30-00+07-00", "2025-03-14T09:30:00+07-00"},
        {"2025-03-14T09-30-00-03-30", "2025-03-14T09:30:00:03-30"},
        {"2025-03-14T09-30-00+07:00", "2025-03-14T09:30:00+07:00"},
        {"2025-03-14T09-30-00+070000", "2025-03-14T09:30:00+07:00"},
        {"dTTeT-Z", "dTTeT:Z"},
        {"2025-03-14T093000", std::nullopt},
        {"2025-03-14", std::nullopt},
    };
    for (const auto& [token, restored] : cases)
        EXPECT_EQ(restoredISO8601FromFilenameToken(token), restored) << token;
}

TEST_F(Upload, orphanSweepAgesOutAndAdoptsByTheName) {
    const Seconds week = 604800;
    const QString id = sessionText;
    const QString queued = file(id + "_queued_0.jpg", 5);
    QStringList kept{file(id + "_t_0.jpg", week), file(id.toLower() + "_t_1.JPG", 5),
                     file(id + "_later_0.jpg", -99)};
    const QStringList ignored{file(id + "_t_3.png", week * 9), file("notes_0.jpg", week), file(id + ".jpg"),
                              queued};
    const QStringList aged{file(id + "_t_4.jpg", week + 1), file("notes_1.JPG", week + 1)};
    const auto isQueued = [&](const QUuid& session, const QString& path) {
        return session == QUuid(id) && path == queued;
    };
    const QString folder = QFileInfo(queued).path();
    QStringList adopted;
    for (const UploadTask& task :
         orphanedScreenshotTasks(folder, machine.clock.now(), machine.random, isQueued)) {
        adopted.append(*task.filePath);
        EXPECT_EQ(task, (UploadTask{task.id,
                                    QUuid(id),
                                    UploadTaskType::screenshot,
                                    task.filePath,
                                    {},
                                    0,
                                    machine.clock.now(),
                                    UploadTaskStatus::pending,
                                    10}));
    }
    adopted.sort();
    kept.sort();
    EXPECT_EQ(adopted, kept);
    for (const QString& path : aged)
        EXPECT_FALSE(QFile::exists(path)) << qPrintable(path);
    for (const QString& path : ignored)
        EXPECT_TRUE(QFile::exists(path)) << qPrintable(path);
    EXPECT_TRUE(orphanedScreenshotTasks("/nowhere", {}, machine.random, {}).empty());
}

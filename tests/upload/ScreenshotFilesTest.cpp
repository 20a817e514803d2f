#include "ScreenshotFiles.h"

#include "UploadWorld.h"

#include <QDir>
#include <QFile>

using namespace ScreenshotFiles;

TEST(ScreenshotNames, areWrittenInTheZoneOfTheCompanyWhereTheyTellATime) {
    const UploadWorld world;
    const QTimeZone hanoi("Asia/Ho_Chi_Minh");
    const QString id = world.sessionText + u'_';
    struct {
        const char* name;
        const char* sent; ///< Null: unchanged.
    } const cases[] = {
        {"2025-03-14T02-30-00Z_0.jpg", "2025-03-14T09-30-00+07-00_0.jpg"},
        {"2025-03-14T02-30-00.250Z_11.jpg", "2025-03-14T09-30-00+07-00_11.jpg"},
        {"20250314T093000+0700_1.jpg", "2025-03-14T09-30-00+07-00_1.jpg"},
        {"20250314T023000Z_1.jpg", "2025-03-14T09-30-00+07-00_1.jpg"},
        {"2025-03-14T04-30-00+0200_0.jpg", "2025-03-14T09-30-00+07-00_0.jpg"},
        {"2025-03-14T02-30-00Z_0.jpg.jpg", "2025-03-14T09-30-00+07-00_0.jpg"},
        {"2025-03-14T09-30-00+07-00_0.jpg", nullptr}, // the sign found is the one inside the offset
        {"2025-03-14T02-30-00Z.jpg", nullptr},
        {"2025-13-14T02-30-00Z_0.jpg", nullptr},
        {"2025-03-14T02-30-00Z_0_1.jpg", nullptr}, // all before the last "_" is the time
        {"yesterday_0.jpg", nullptr},
        {"_.jpg", nullptr},
    };
    for (const auto& [name, sent] : cases)
        EXPECT_EQ(normalizedScreenshotUploadFileName("/folder/" + id + name, world.session, hanoi),
                  id + (sent ? sent : name));
    EXPECT_EQ(normalizedScreenshotUploadFileName(id + "2025-03-14T02-30-00Z_0.jpg", world.session,
                                                 QTimeZone::utc()),
              id + "2025-03-14T02-30-00Z_0.jpg");
    EXPECT_EQ(normalizedScreenshotUploadFileName("/f/other_2025-03-14T02-30-00Z_0.jpg", world.session, hanoi),
              "other_2025-03-14T02-30-00Z_0.jpg");
}

TEST(ScreenshotNames, restoredTokenKeepsTheBackwardScan) {
    const std::pair<const char*, std::optional<QString>> cases[] = {
        {"2025-03-14T09-30-00+07-00", "2025-03-14T09:30:00+07-00"},
        {"2025-03-14T09-30-00-03-30", "2025-03-14T09:30:00:03-30"},
        {"2025-03-14T09-30-00+07:00", "2025-03-14T09:30:00+07:00"},
        {"2025-03-14T09-30-00+070000", "2025-03-14T09:30:00+07:00"},
        {"2025-03-14T09-30-00Z", "2025-03-14T09:30:00Z"},
        {"dTTeT-Z", "dTTeT:Z"},
        {"2025-03-14T093000", std::nullopt},
        {"2025-03-14", std::nullopt},
    };
    for (const auto& [token, restored] : cases)
        EXPECT_EQ(restoredISO8601FromFilenameToken(token), restored) << token;
}

TEST(ScreenshotUpload, multipartBodyHasOnePartAndAClosingBoundary) {
    EXPECT_EQ(
        buildMultipartBody("screenshots[]", "a.jpg", "image/jpeg", QByteArray("\xff\xd8\0\r\n\xd9", 6),
                           "B-1"),
        QByteArray("--B-1\r\nContent-Disposition: form-data; name=\"screenshots[]\"; filename=\"a.jpg\"\r\n"
                   "Content-Type: image/jpeg\r\n\r\n\xff\xd8") +
            QByteArray("\0\r\n\xd9\r\n--B-1--\r\n", 15));
}

TEST(OrphanSweep, agesOutAndAdoptsByTheTellOfTheName) {
    UploadWorld world;
    const Seconds week = 604800;
    const QString id = world.sessionText;
    const QStringList kept = {world.fileNamed(id + "_t_0.jpg", week),
                              world.fileNamed(id.toLower() + "_t_1.JPG", 5),
                              world.fileNamed(id + "_future_0.jpg", -1000)};
    const QString queued = world.fileNamed(id + "_queued_0.jpg", 5);
    const QStringList ignored = {world.fileNamed(id + "_t_3.png", week * 9),
                                 world.fileNamed("notes_0.jpg", week), world.fileNamed(id + ".jpg"), queued};
    const QStringList aged = {world.fileNamed(id + "_t_4.jpg", week + 1),
                              world.fileNamed("notes_1.JPG", week + 1)};
    ASSERT_TRUE(QDir().mkpath(world.captures() + "/folder_0.jpg"));

    const auto tasks =
        orphanedScreenshotTasks(world.captures(), world.machine.clock.now(), world.machine.random,
                                [&](const QUuid& session, const QString& path) {
                                    return session == world.session && path == queued;
                                });
    QStringList adopted;
    for (const UploadTask& task : tasks) {
        adopted.append(*task.filePath);
        EXPECT_EQ(task.sessionId, world.session);
        EXPECT_EQ(task.priority, 10);
        EXPECT_EQ(task.type, UploadTaskType::screenshot);
        EXPECT_EQ(task.createdAt, world.machine.clock.now());
    }
    adopted.sort();
    QStringList expected = kept;
    expected.sort();
    EXPECT_EQ(adopted, expected);
    for (const QString& path : aged)
        EXPECT_FALSE(QFile::exists(path)) << qPrintable(path);
    for (const QString& path : ignored)
        EXPECT_TRUE(QFile::exists(path)) << qPrintable(path);
    EXPECT_TRUE(orphanedScreenshotTasks("/nowhere", {}, world.machine.random, {}).empty());
}

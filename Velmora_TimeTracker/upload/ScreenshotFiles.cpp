#include "upload/ScreenshotFiles.h"

#include "model/CaptureFileName.h"
#include "platform/PrivateFiles.h"
#include "platform/Random.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

constexpr Seconds retention = 7 * 24 * 60 * 60;
constexpr Seconds temporaryFileAge = 60;

QStringList entries(const QString& directory) {
    return QDir(directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                     QDir::NoSort);
}

bool isOlderThan(Seconds age, const QString& path, Date now) {
    const QDateTime modified = QFileInfo(path).lastModified();
    return modified.isValid() && now - Date::fromDateTime(modified) > age;
}

} // namespace

QStringList ScreenshotFiles::forSession(const QUuid& sessionId, const QString& directory) {
    PrivateFiles::create(directory);
    QStringList paths;
    for (const QString& name : entries(directory))
        if (CaptureFileName::isOfSession(name, sessionId) && CaptureFileName::isPicture(name))
            paths.append(directory + u'/' + name);
    return paths;
}

UploadTask ScreenshotFiles::newTask(const QUuid& id, const QUuid& sessionId, const QString& path, Date createdAt) {
    return {.id = id,
            .sessionId = sessionId,
            .type = UploadTaskType::screenshot,
            .filePath = path,
            .jsonPayload = {},
            .createdAt = createdAt,
            .priority = priority};
}

std::vector<UploadTask> ScreenshotFiles::orphanedScreenshotTasks(
    const QString& directory, Date now, Random& random,
    const std::function<bool(const QUuid& sessionId, const QString& path)>& hasQueuedTask) {
    std::vector<UploadTask> tasks;
    for (const QString& name : entries(directory)) {
        const QString path = directory + u'/' + name;
        if (CaptureFileName::isTemporary(name) && isOlderThan(temporaryFileAge, path, now))
            QFile::remove(path);
        if (!CaptureFileName::isPicture(name))
            continue;
        if (isOlderThan(retention, path, now)) {
            QFile::remove(path);
            continue;
        }
        const auto sessionId = CaptureFileName::sessionOf(name);
        if (!sessionId || hasQueuedTask(*sessionId, path))
            continue;
        tasks.push_back(newTask(random.uuid(), *sessionId, path, now));
    }
    return tasks;
}

QByteArray ScreenshotFiles::buildMultipartBody(const QByteArray& fieldName, const QString& fileName,
                                               const QByteArray& mimeType, const QByteArray& fileData,
                                               const QByteArray& boundary) {
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + fieldName + "\"; filename=\"" +
           fileName.toUtf8() + "\"\r\nContent-Type: " + mimeType + "\r\n\r\n" + fileData + "\r\n--" + boundary +
           "--\r\n";
}

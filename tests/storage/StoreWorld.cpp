#include "StoreWorld.h"

#include <QRegularExpression>

QUuid numberedId(int number) {
    return QUuid::fromString(QString::asprintf("0a1b2c3d-0000-4000-8000-%012d", number));
}

Session storedSession(int number, Date startedAt, std::optional<Date> stoppedAt) {
    Session session;
    session.id = numberedId(number);
    session.deviceId = "DEVICE";
    session.projectName = QString("Project %1").arg(number);
    session.activityScore = number;
    session.intervals = {{numberedId(number + 1000), startedAt, stoppedAt}};
    return session;
}

UploadTask storedTask(int number, UploadTaskType type, int priority, Date createdAt) {
    UploadTask task;
    task.id = numberedId(number);
    task.sessionId = numberedId(7);
    task.type = type;
    task.createdAt = createdAt;
    task.priority = priority;
    return task;
}

mode_t modeOf(const QString& path) {
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 0777 : 0;
}

QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void overwrite(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

qsizetype StoreWorld::setAside() const {
    return QDir(folder).entryList({"*.unreadable-*"}).filter(QRegularExpression("-[0-9]+$")).size();
}

#include "StoreWorld.h"

#include <QDir>
#include <QRegularExpression>

void StoreWorld::useCompany(const QString& host) {
    domain.setBaseURL(QUrl("https://" + host + "/api/v1/"));
}

SQLiteStore& StoreWorld::open() {
    return store.emplace(folder(), domain, clock, random);
}

SQLiteStore& StoreWorld::reopen() {
    close();
    return open();
}

QStringList StoreWorld::sql(const QByteArray& text) const {
    QDir().mkpath(folder());
    return querySQLite(file(), text);
}

QStringList StoreWorld::filesSetAside() const {
    return QDir(folder()).entryList({"*.unreadable-*"}).filter(QRegularExpression("unreadable-[-0-9]+$"));
}

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
    return {.id = numberedId(number),
            .sessionId = numberedId(7),
            .type = type,
            .filePath = std::nullopt,
            .jsonPayload = std::nullopt,
            .retryCount = 0,
            .createdAt = createdAt,
            .status = UploadTaskStatus::pending,
            .priority = priority};
}

// The store's operations on the upload queue.

#include "platform/Clock.h"
#include "platform/Log.h"
#include "storage/DomainStorage.h"
#include "storage/SQLiteStore.h"
#include "storage/Statement.h"
#include "storage/StoreStatements.h"

namespace {

/// The task in the statement's current row. Absent if a required column is missing or unknown.
std::optional<UploadTask> task(const Statement& row) {
    const auto id = parseUuid(row.text(0).value_or(QString()));
    const auto sessionId = row.text(1);
    const auto type = uploadTaskType(row.text(2).value_or(QString()));
    const auto status = uploadTaskStatus(row.text(7).value_or(QString()));
    if (!id || !sessionId || !type || !status)
        return std::nullopt;
    return UploadTask{.id = *id,
                      .sessionId = parseUuid(*sessionId).value_or(QUuid()),
                      .type = *type,
                      .filePath = row.text(3),
                      .jsonPayload = row.blob(4),
                      .retryCount = row.integer(5),
                      .createdAt = Date::since1970(row.real(6)),
                      .status = *status,
                      .priority = row.integer(8)};
}

} // namespace

bool SQLiteStore::enqueueUploadTask(const UploadTask& task, const std::optional<QString>& domainKey) {
    const QString domain = domainKey ? *domainKey : domain_.domainKey();
    return withStatement(Sql::enqueueUploadTask, [&](Statement& statement) {
        statement.bindText(uuidText(task.id)).bindText(domain).bindText(uuidText(task.sessionId));
        statement.bindText(rawName(task.type));
        task.filePath ? statement.bindText(*task.filePath) : statement.bindNull();
        task.jsonPayload ? statement.bindBlob(*task.jsonPayload) : statement.bindNull();
        statement.bindInteger(task.retryCount).bindReal(task.createdAt.secondsSince1970());
        statement.bindText(rawName(task.status)).bindInteger(task.priority).bindReal(0).run();
    });
}

std::optional<UploadTask> SQLiteStore::nextUploadTask(Date now) {
    const QString domain = domain_.domainKey();
    std::optional<UploadTask> next;
    std::optional<QString> unreadableRow;
    do {
        unreadableRow.reset();
        withStatement(Sql::nextUploadTask, [&](Statement& statement) {
            if (statement.bindText(domain).bindReal(now.secondsSince1970()).step()) {
                next = task(statement);
                unreadableRow = next ? std::nullopt : statement.text(9);
            }
        });
    } while (unreadableRow && setUploadRowAside(*unreadableRow));
    return next;
}

bool SQLiteStore::setUploadRowAside(const QString& row) {
    qCCritical(Log::upload, "SQLiteStore: row %s of the upload queue cannot be read and is set aside",
               qUtf8Printable(row));
    return withStatement(Sql::setUploadRowAside, [&](Statement& statement) { statement.bindText(row).run(); });
}

bool SQLiteStore::updateUploadTaskStatus(const QUuid& id, UploadTaskStatus status) {
    return withStatement(Sql::updateUploadTaskStatus, [&](Statement& statement) {
        statement.bindText(rawName(status)).bindText(uuidText(id)).run();
    });
}

bool SQLiteStore::markUploadTaskFailed(const QUuid& id, int retryCount, Date nextAttemptAt) {
    return withStatement(Sql::markUploadTaskFailed, [&](Statement& statement) {
        statement.bindText(rawName(UploadTaskStatus::failed)).bindInteger(retryCount);
        statement.bindReal(nextAttemptAt.secondsSince1970()).bindText(uuidText(id)).run();
    });
}

bool SQLiteStore::markUploadTaskCompleted(const QUuid& id) {
    return withStatement(Sql::markUploadTaskCompleted,
                         [&](Statement& statement) { statement.bindText(uuidText(id)).run(); });
}

void SQLiteStore::bringUploadTasksForward(Date now, Date latest) {
    withStatement(Sql::bringUploadTasksForward, [&](Statement& statement) {
        statement.bindReal(now.secondsSince1970()).bindReal(latest.secondsSince1970()).run();
    });
}

bool SQLiteStore::resetStaleInProgressTasks() {
    return withStatement(Sql::resetStaleInProgressTasks, [](Statement& statement) { statement.run(); });
}

bool SQLiteStore::hasScreenshotTask(const QUuid& sessionId, const QString& filePath, const QString& domainKey) {
    bool found = false;
    withStatement(Sql::hasScreenshotTask, [&](Statement& statement) {
        found = statement.bindText(domainKey).bindText(uuidText(sessionId)).bindText(filePath).step();
    });
    return found;
}

bool SQLiteStore::hasActivitySegmentTask() {
    const QString domain = domain_.domainKey();
    bool found = false;
    withStatement(Sql::hasActivitySegmentTask,
                  [&](Statement& statement) { found = statement.bindText(domain).step(); });
    return found;
}

std::optional<std::vector<QUuid>> SQLiteStore::pendingUploadTaskIds(const QUuid& sessionId,
                                                                    const std::vector<UploadTaskType>& types,
                                                                    const QString& domainKey) {
    std::vector<QUuid> ids;
    if (types.empty())
        return ids;
    const QByteArray places = QByteArray(",?").repeated(static_cast<qsizetype>(types.size())).sliced(1);
    const QByteArray sql = Sql::pendingUploadTaskIdsHead + places + Sql::pendingUploadTaskIdsTail;
    const bool isRead = withStatement(sql.constData(), [&](Statement& statement) {
        statement.bindText(domainKey).bindText(uuidText(sessionId));
        for (const UploadTaskType type : types)
            statement.bindText(rawName(type));
        while (statement.step())
            if (const auto id = parseUuid(statement.text(0).value_or(QString())))
                ids.push_back(*id);
    });
    return isRead ? std::optional(ids) : std::nullopt;
}

int SQLiteStore::unacceptedSessions(int priority, int retryCount) {
    const QString domain = domain_.domainKey();
    int count = 0;
    withStatement(Sql::unacceptedSessions, [&](Statement& statement) {
        if (statement.bindText(domain).bindInteger(priority).bindInteger(retryCount).step())
            count = statement.integer(0);
    });
    return count;
}

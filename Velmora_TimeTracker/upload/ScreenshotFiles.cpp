#include "upload/ScreenshotFiles.h"

#include "model/ISO8601.h"
#include "model/Session.h"
#include "platform/PrivateFiles.h"
#include "platform/Random.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr Seconds retention = 7 * 24 * 60 * 60;
constexpr Seconds stumpAge = 60;

QStringList entries(const QString& directory) {
    return QDir(directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                     QDir::NoSort);
}

bool isOlderThan(Seconds age, const QString& path, Date now) {
    const QDateTime modified = QFileInfo(path).lastModified();
    return modified.isValid() && now - Date::fromDateTime(modified) > age;
}

bool isPicture(const QString& name) {
    return name.endsWith(".jpg", Qt::CaseInsensitive);
}

/// What a death in the middle of writing a picture leaves behind.
bool isStump(const QString& name) {
    static const QRegularExpression temporaryName("\\.jpg\\.[A-Za-z0-9]{6}$");
    return temporaryName.match(name).hasMatch();
}

/// The session whose id stands before the first "_".
std::optional<QUuid> sessionOf(const QString& fileName) {
    const qsizetype end = fileName.indexOf(u'_');
    return end < 0 ? std::nullopt : parseUuid(fileName.left(end));
}

/// "20250314T093000+0700"
std::optional<Date> parseCompactTimestamp(const QString& token) {
    static const QRegularExpression form(
        QRegularExpression::anchoredPattern(uR"((\d{4})(\d{2})(\d{2})T(\d{2})(\d{2})(\d{2})(Z|[+-]\d{2}:?\d{2}))"_s));
    const QRegularExpressionMatch match = form.match(token);
    if (!match.hasMatch())
        return std::nullopt;
    return ISO8601::parse(u"%1-%2-%3T%4:%5:%6%7"_s.arg(match.captured(1), match.captured(2), match.captured(3),
                                                       match.captured(4), match.captured(5), match.captured(6),
                                                       match.captured(7)));
}

} // namespace

QStringList ScreenshotFiles::forSession(const QUuid& sessionId, const QString& directory) {
    PrivateFiles::create(directory);
    const QString prefix = uuidText(sessionId) + u'_';
    QStringList paths;
    for (const QString& name : entries(directory))
        if (name.startsWith(prefix) && isPicture(name))
            paths.append(directory + u'/' + name);
    return paths;
}

QString ScreenshotFiles::normalizedScreenshotUploadFileName(const QString& path, const QUuid& sessionId,
                                                            const QTimeZone& apiTimeZone) {
    const QString fileName = QFileInfo(path).fileName();
    const QString prefix = uuidText(sessionId) + u'_';
    QString rest = fileName;
    rest.remove(".jpg");
    if (!rest.startsWith(prefix))
        return fileName;
    rest.remove(0, prefix.size());
    const qsizetype separator = rest.lastIndexOf(u'_');
    if (separator < 0)
        return fileName;
    const auto taken = parseScreenshotTimestamp(rest.left(separator));
    QString token = taken ? ISO8601::text(*taken, apiTimeZone) : QString();
    if (token.isEmpty())
        return fileName;
    token.replace(u':', u'-');
    return prefix + token + rest.mid(separator) + ".jpg";
}

std::optional<Date> ScreenshotFiles::parseScreenshotTimestamp(const QString& token) {
    if (const auto restored = restoredISO8601FromFilenameToken(token)) {
        if (const auto date = ISO8601::parse(*restored))
            return date;
        if (const auto date = ISO8601::parseWithFraction(*restored))
            return date;
    }
    return parseCompactTimestamp(token);
}

std::optional<QString> ScreenshotFiles::restoredISO8601FromFilenameToken(const QString& token) {
    const qsizetype split = token.indexOf(u'T');
    if (split < 0)
        return std::nullopt;
    const QString dateAndT = token.left(split + 1);
    const QString time = token.mid(split + 1);
    if (time.endsWith(u'Z'))
        return dateAndT + time.chopped(1).replace(u'-', u':') + u'Z';

    // The scan stops at the "-" between the hours and minutes of an offset such as +07-00, whose text then is
    // no date: such a file keeps its own name, which already has the form that the server gets.
    const qsizetype sign = std::max(time.lastIndexOf(u'+'), time.lastIndexOf(u'-'));
    if (sign < 0)
        return std::nullopt;
    QString offset = time.mid(sign);
    if (offset.size() >= 6)
        offset = offset.left(3) + u':' + offset.right(2);
    return dateAndT + time.left(sign).replace(u'-', u':') + offset;
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
        if (isStump(name) && isOlderThan(stumpAge, path, now))
            QFile::remove(path);
        if (!isPicture(name))
            continue;
        if (isOlderThan(retention, path, now)) {
            QFile::remove(path);
            continue;
        }
        const auto sessionId = sessionOf(name);
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

#include "backend/Screenshots.h"

#include "backend/Checks.h"
#include "backend/Jpeg.h"
#include "backend/Refusal.h"

#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>
#include <stdexcept>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace backend {

namespace {

Screenshot readRow(const Statement& row) {
    return {.sessionUuid = row.text(0),
            .fileName = row.text(1),
            .capturedAt = row.integer(2),
            .size = QSize(static_cast<int>(row.integer(3)), static_cast<int>(row.integer(4))),
            .bytes = row.integer(5)};
}

std::vector<Screenshot> readAll(Statement& rows) {
    std::vector<Screenshot> found;
    while (rows.next())
        found.push_back(readRow(rows));
    return found;
}

/// An address as the name of a folder: no separators, and no leading point.
QString folderName(const QString& user) {
    static const QRegularExpression unsafe(u"[^A-Za-z0-9@._+-]|^\\."_s);
    return QString(user).toLower().replace(unsafe, u"_"_s);
}

} // namespace

std::optional<ScreenshotName> parseScreenshotName(const QString& fileName) {
    static const QRegularExpression form(
        uR"(\A([0-9A-F-]{36})_(\d{4}-\d\d-\d\dT)(\d\d)-(\d\d)-(\d\d)(Z|[+-]\d\d-\d\d)_(\d{1,2})\.jpg\z)"_s);
    const auto match = form.match(fileName);
    if (!match.hasMatch() || !isUuid(match.captured(1)))
        return std::nullopt;
    QString offset = match.captured(6);
    if (offset.size() == 6)
        offset[3] = QLatin1Char(':');
    const QString time = match.captured(2) + match.captured(3) + QLatin1Char(':') + match.captured(4) +
                         QLatin1Char(':') + match.captured(5) + offset;
    if (!dateTime()(time).isEmpty())
        return std::nullopt;
    return ScreenshotName{match.captured(1), secondsFrom(time), match.captured(7).toInt()};
}

void makePrivateFolder(const QString& path) {
    if (!QDir().mkpath(path) || ::chmod(QFile::encodeName(path).constData(), 0700) != 0)
        throw std::runtime_error("cannot create the folder " + path.toStdString());
}

Screenshots::Screenshots(Database& keptIn, QString under)
    : database(keptIn)
    , folder(under) {
    makePrivateFolder(under);
}

void Screenshots::store(const QString& user, const QString& sessionUuid, const QString& fileName,
                        const std::string& content, qint64 now) {
    const auto name = parseScreenshotName(fileName);
    if (!name)
        throw Refusal{422, u"The file name must be <session>_<time>_<display>.jpg."_s};
    if (name->sessionUuid != sessionUuid)
        throw Refusal{422, u"The file name names another session than the path."_s};
    const auto size = jpegSize(content);
    if (!size)
        throw Refusal{422, u"The file is no whole JPEG picture."_s};
    makePrivateFolder(folder.filePath(folderName(user)));
    makePrivateFolder(folderOf(user, sessionUuid).path());
    QSaveFile file(folderOf(user, sessionUuid).filePath(fileName));
    file.setDirectWriteFallback(false);
    const bool written =
        file.open(QIODevice::WriteOnly) && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) &&
        file.write(content.data(), static_cast<qint64>(content.size())) == static_cast<qint64>(content.size()) &&
        file.commit();
    if (!written)
        throw Refusal{507, u"The picture could not be stored."_s};
    Statement(database,
              "INSERT OR REPLACE INTO screenshots (session_uuid, file_name, captured_at, width, height, bytes, "
              "received_at) VALUES (?, ?, ?, ?, ?, ?, ?)",
              sessionUuid, fileName, name->capturedAt, size->width(), size->height(), content.size(), now)
        .run();
}

std::vector<Screenshot> Screenshots::all() const {
    Statement rows(database, "SELECT session_uuid, file_name, captured_at, width, height, bytes FROM screenshots "
                             "ORDER BY captured_at, file_name");
    return readAll(rows);
}

std::vector<Screenshot> Screenshots::of(const QString& user, const QString& company, qint64 from, qint64 to) const {
    Statement rows(database,
                   "SELECT session_uuid, file_name, captured_at, width, height, bytes FROM screenshots "
                   "JOIN sessions USING (session_uuid) WHERE user = ? AND company = ? "
                   "AND captured_at >= ? AND captured_at < ? ORDER BY captured_at, file_name",
                   user, company, from, to);
    return readAll(rows);
}

std::optional<QByteArray> Screenshots::read(const QString& sessionUuid, const QString& fileName) const {
    Statement row(database,
                  "SELECT user FROM screenshots JOIN sessions USING (session_uuid) "
                  "WHERE session_uuid = ? AND file_name = ?",
                  sessionUuid, fileName);
    if (!row.next())
        return std::nullopt;
    QFile file(folderOf(row.text(0), sessionUuid).filePath(fileName));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

QDir Screenshots::folderOf(const QString& user, const QString& sessionUuid) const {
    return QDir(folder.filePath(folderName(user) + QLatin1Char('/') + sessionUuid));
}

} // namespace backend

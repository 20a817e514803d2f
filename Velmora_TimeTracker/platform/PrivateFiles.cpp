#include "platform/PrivateFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <cerrno>
#include <sys/stat.h>

namespace PrivateFiles {

namespace {

constexpr QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
constexpr QFile::Permissions others =
    QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;

/// Creates one folder, or restricts the mode of an existing one that the user owns.
void createLevel(const QString& folder, bool isOurs) {
    const bool isNew = QDir().mkdir(folder, ownerOnly);
    // The umask may remove the owner's permissions too.
    if (isNew || (isOurs && QFile::permissions(folder).testAnyFlags(others)))
        QFile::setPermissions(folder, ownerOnly);
}

} // namespace

bool create(const QString& folder) {
    const QString absolute = QDir::cleanPath(QDir().absoluteFilePath(folder));
    const QStringList names = absolute.split(u'/', Qt::SkipEmptyParts);
    QString level;
    bool isOurs = false;
    for (const QString& name : names) {
        level += u'/' + name;
        isOurs = isOurs || name == ownFolderName || level == absolute;
        createLevel(level, isOurs);
    }
    return QFileInfo(absolute).isDir();
}

QString replaceFile(const QString& file, const QByteArray& content, const QDateTime& modifiedAt) {
    QSaveFile replacement(file);
    // Flushed explicitly: commit() does not report that the buffered rest did not fit on the disk.
    const bool isWritten = replacement.open(QIODevice::WriteOnly) &&
                           replacement.setPermissions(QFile::ReadOwner | QFile::WriteOwner) &&
                           replacement.write(content) == content.size() && replacement.flush();
    if (isWritten && modifiedAt.isValid())
        replacement.setFileTime(modifiedAt, QFileDevice::FileModificationTime);
    return isWritten && replacement.commit() ? QString() : replacement.errorString();
}

Content readFile(const QString& file) {
    QFile stored(file);
    if (!stored.open(QIODevice::ReadOnly)) {
        struct stat found {};
        const bool isMissing = stat(QFile::encodeName(file).constData(), &found) != 0 && errno == ENOENT;
        return {std::nullopt, isMissing ? QString() : stored.errorString()};
    }
    QByteArray text = stored.readAll();
    if (stored.error() != QFile::NoError)
        return {std::nullopt, stored.errorString()};
    return {std::move(text), {}};
}

QString setAside(const QString& file, const QString& stamp) {
    const QString wanted = file + ".unreadable-" + stamp;
    QString target = wanted;
    for (int copy = 2; QFileInfo::exists(target); ++copy)
        target = wanted + u'-' + QString::number(copy);
    return QDir().rename(file, target) ? target : QString();
}

} // namespace PrivateFiles

#include "storage/CaptureFolder.h"

#include "platform/Log.h"
#include "platform/PrivateFiles.h"
#include "storage/ApplicationFolder.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <algorithm>
#include <vector>

QString CaptureFolder::capturesBaseDirectory(const ApplicationInfo& information) {
    return ApplicationFolder::path(information) + "/captures";
}

QString CaptureFolder::capturesDirectory(const ApplicationInfo& information, const QString& domainKey) {
    constexpr qsizetype longestName = 200; // file systems take 255 bytes
    QString name = domainKey;
    name.replace(u'%', "%25").replace(u'/', "%2F");
    if (const QByteArray bytes = QFile::encodeName(name); bytes.size() > longestName)
        name = QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    return capturesBaseDirectory(information) + u'/' + name;
}

void CaptureFolder::movePictures(const QString& from, const QString& to) {
    const QStringList names = QDir(from).entryList(QDir::Files | QDir::Hidden, QDir::NoSort);
    if (names.isEmpty())
        return;
    PrivateFiles::create(to);
    for (const QString& name : names)
        QFile::rename(from + u'/' + name, to + u'/' + name);
    QDir().rmdir(from);
}

int CaptureFolder::cleanupOldCaptures(const QString& directory, int maxFileCount) {
    const QFileInfoList entries =
        QDir(directory).entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::NoSort);
    const qsizetype surplus = entries.size() - maxFileCount;
    if (surplus <= 0)
        return 0;

    struct Entry {
        qint64 modified; ///< Milliseconds since 1970; an unknown date is the distant past.
        QString path;
    };
    std::vector<Entry> oldestFirst;
    for (const QFileInfo& entry : entries) {
        const QDateTime modified = entry.lastModified();
        oldestFirst.push_back({modified.isValid() ? modified.toMSecsSinceEpoch() : std::numeric_limits<qint64>::min(),
                               directory + u'/' + entry.fileName()});
    }
    std::ranges::stable_sort(oldestFirst, {}, &Entry::modified);
    // A file that cannot be removed counts as removed; otherwise a newer one would be deleted instead.
    oldestFirst.resize(static_cast<std::size_t>(surplus));
    const auto removed =
        std::ranges::count_if(oldestFirst, [](const Entry& entry) { return QFile::remove(entry.path); });
    qCCritical(Log::capture, "Pruned the %td oldest of %lld pictures: more than %d wait to be sent", removed,
               static_cast<qint64>(entries.size()), maxFileCount);
    return static_cast<int>(removed);
}

#pragma once

#include <QDateTime>
#include <QString>
#include <optional>

/// Folders of mode 0700 and files of mode 0600: readable by the user alone. Any thread.
namespace PrivateFiles {

/// The program's own folder. It and every level below it are private.
inline constexpr QLatin1StringView ownFolderName("Velmora TimeTracker");

/// Creates `folder` with its parents, readable by the user alone whatever the umask. Removes the access of others from
/// `folder` and from every level from the own folder down. False if it does not exist afterwards.
bool create(const QString& folder);

/// Replaces a whole file by one of mode 0600, or leaves it unchanged. An invalid `modifiedAt` means the time of
/// writing. Returns the error text, empty on success.
QString replaceFile(const QString& file, const QByteArray& content, const QDateTime& modifiedAt = {});

/// The result of reading a file. Both members are empty if the file does not exist.
struct Content {
    std::optional<QByteArray> text; ///< All of it.
    QString failure;                ///< Why a file that exists could not be read; empty otherwise.
};
/// Reads a whole file.
Content readFile(const QString& file);

/// Renames a file with invalid content to "<name>.unreadable-<stamp>", so that a new one can be created; `stamp` is
/// the current UTC time, "yyyyMMdd-HHmmss". An existing name gets a number. Returns the new path, empty on failure.
QString setAside(const QString& file, const QString& stamp);

} // namespace PrivateFiles

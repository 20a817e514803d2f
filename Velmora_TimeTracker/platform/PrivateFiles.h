#pragma once

#include <QDateTime>
#include <QString>
#include <optional>

/// Folders of mode 0700 and files of mode 0600: readable by the user alone. Any thread.
namespace PrivateFiles {

/// The program's own folder. It and every level below it are private.
inline constexpr QLatin1StringView ownFolderName("Velmora TimeTracker");

/// Makes `folder` with its parents, readable by the user alone whatever the mask of the process. `folder`
/// itself, and every level from the own folder downwards, is closed to others when it was open. False when it
/// is not there afterwards.
bool create(const QString& folder);

/// Replaces a file as a whole by one of mode 0600, or leaves it as it is. An invalid `modifiedAt` is the moment of the
/// writing. The error's text, empty on success.
QString replaceFile(const QString& file, const QByteArray& content, const QDateTime& modifiedAt = {});

/// What reading a file gave. A file that does not exist has neither member.
struct Content {
    std::optional<QByteArray> text; ///< All of it.
    QString failure;                ///< Why a file that exists could not be read; empty otherwise.
};
/// Reads a file as a whole.
Content readFile(const QString& file);

/// Renames a file whose content makes no sense to "<name>.unreadable-<stamp>", so that a new one can be begun; `stamp`
/// is the UTC time of the discovery, "yyyyMMdd-HHmmss". A name that is taken gets a number.
/// Returns the new path, empty on failure.
QString setAside(const QString& file, const QString& stamp);

} // namespace PrivateFiles

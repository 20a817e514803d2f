#pragma once

#include "backend/Database.h"

#include <QDir>
#include <QSize>
#include <vector>

namespace backend {

/// A screenshot's file name: session UUID, "_", its time with "-" for each ":", "_", display index, ".jpg".
struct ScreenshotName {
    QString sessionUuid;
    qint64 capturedAt; ///< unix seconds
    int display;
};
std::optional<ScreenshotName> parseScreenshotName(const QString& fileName);

struct Screenshot {
    QString sessionUuid;
    QString fileName;
    qint64 capturedAt;
    QSize size;
    qint64 bytes;
};

/// The uploaded pictures: a row each, and a file under <folder>/<user>/<session>/<file name>. Folders are
/// 0700, files 0600. Names reach a path only after they have passed the form above.
class Screenshots {
public:
    Screenshots(Database& keptIn, QString under);

    /// Takes one upload; the same name again replaces the earlier one. A Refusal 422 names what is wrong.
    void store(const QString& user, const QString& sessionUuid, const QString& fileName, const std::string& content,
               qint64 now);

    std::vector<Screenshot> all() const;
    /// Of one person's sessions at one company, oldest first; [from, to) in unix seconds.
    std::vector<Screenshot> of(const QString& user, const QString& company, qint64 from, qint64 to) const;
    /// The bytes of a stored picture; absent when there is no such picture.
    std::optional<QByteArray> read(const QString& sessionUuid, const QString& fileName) const;

private:
    QDir folderOf(const QString& user, const QString& sessionUuid) const;

    Database& database;
    QDir folder;
};

/// Creates the folder and its parents as far as they are missing, the folder itself with mode 0700.
void makePrivateFolder(const QString& path);

} // namespace backend

#pragma once

#include "platform/simulated/SimulatedPlatform.h"
#include "storage/DomainStorage.h"
#include "storage/SQLiteStore.h"
#include "tests/support/DatabaseProbe.h"
#include "tests/support/LogCapture.h"

#include <QTemporaryDir>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

using enum UploadTaskType;
inline constexpr Date start = Date::since1970(1'700'000'000); ///< 2023-11-14T22:13:20Z

inline QUuid numberedId(int number) {
    return QUuid::fromString(QString::asprintf("0a1b2c3d-0000-4000-8000-%012d", number));
}

inline Session storedSession(int number, Date startedAt, std::optional<Date> stoppedAt) {
    const TrackingInterval interval{numberedId(number + 1000), startedAt, stoppedAt};
    const QString project = u"Project %1"_s.arg(number);
    return {numberedId(number), {}, {}, project, {interval}, 0, 0, double(number), {}, {}, {}};
}

inline UploadTask storedTask(int number, UploadTaskType type, int priority = 100, Date createdAt = start) {
    return {numberedId(number), numberedId(7), type, {}, {}, 0, createdAt, {}, priority};
}

inline mode_t modeOf(const QString& path) {
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 0777 : 0;
}

/// Empty when there is no such file.
inline QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
}

/// Makes the folders above it, too.
inline void overwrite(const QString& path, const QByteArray& bytes, Date modified = start) {
    QFile file(path);
    EXPECT_TRUE(QDir().mkpath(QFileInfo(path).path()) && file.open(QFile::WriteOnly));
    EXPECT_TRUE(file.write(bytes) == bytes.size() && file.flush());
    EXPECT_TRUE(file.setFileTime(modified.toDateTime(QTimeZone::utc()), QFile::FileModificationTime));
}

/// The store of a simulated machine on a real file, and a second connection to look at that file.
struct StoreWorld {
    QTemporaryDir directory{fastTemporaryFolder()};
    SimulatedPlatform machine{directory.path()};
    DomainStorage domain{machine.preferences};
    const QString folder = directory.filePath("Velmora TimeTracker");
    const QString database = folder + "/timetracker.sqlite";
    std::optional<SQLiteStore> store;

    StoreWorld() { useCompany("acme.test"); }

    void useCompany(const QString& host) { domain.setBaseURL(QUrl("https://" + host + "/api/v1/")); }
    SQLiteStore& open() {
        store.reset();
        return store.emplace(folder, domain, machine.clock);
    }
    /// Runs SQL on the file and gives its rows joined with ", ", columns joined with blanks.
    QString sql(const QByteArray& text) const {
        return querySQLite(database, text).replaceInStrings("|", " ").join(", ");
    }
};

#pragma once

#include "DatabaseProbe.h"
#include "DomainStorage.h"
#include "LogCapture.h"
#include "SQLiteStore.h"
#include "SimulatedStores.h"
#include "Timeline.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

using enum UploadTaskType;
inline constexpr Date start = Date::since1970(1'700'000'000); ///< 2023-11-14T22:13:20Z

inline QUuid numberedId(int number) {
    return QUuid::fromString(QString::asprintf("0a1b2c3d-0000-4000-8000-%012d", number));
}

inline Session storedSession(int number, Date startedAt, std::optional<Date> stoppedAt) {
    Session session;
    session.id = numberedId(number);
    session.projectName = QString("Project %1").arg(number);
    session.intervals = {{numberedId(number + 1000), startedAt, stoppedAt}};
    session.activityScore = number;
    return session;
}

inline UploadTask storedTask(int number, UploadTaskType type, int priority = 100, Date createdAt = start) {
    return {numberedId(number),        numberedId(7), type, {}, {}, 0, createdAt,
            UploadTaskStatus::pending, priority};
}

inline mode_t modeOf(const QString& path) {
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 0777 : 0;
}

/// Empty when there is no such file.
inline QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void overwrite(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

/// A store on a real file in a temporary folder, and a second connection to look at the file.
struct StoreWorld {
    QTemporaryDir directory{fastTemporaryFolder()};
    MemoryPreferenceStore preferences;
    DomainStorage domain{preferences};
    Timeline timeline;
    SimulatedClock clock{timeline};
    SimulatedRandom random;
    QString folder = directory.filePath("Velmora TimeTracker");
    QString file = folder + "/timetracker.sqlite";
    QString aside = file + ".unreadable-20231114-221320";
    std::optional<SQLiteStore> store;

    StoreWorld() { useCompany("acme.test"); }

    void useCompany(const QString& host) { domain.setBaseURL(QUrl("https://" + host + "/api/v1/")); }
    void close() { store.reset(); }
    SQLiteStore& open() {
        close();
        return store.emplace(folder, domain, clock, random);
    }
    qsizetype databasesAside() const {
        return QDir(folder).entryList({"*.unreadable-*"}).filter(QRegularExpression("-[0-9]+$")).size();
    }
    /// Runs SQL on the file and gives its rows joined with blanks, columns joined with "|".
    std::string sql(const QByteArray& text) const { return querySQLite(file, text).join(' ').toStdString(); }
};

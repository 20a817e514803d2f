#pragma once

#include "DatabaseProbe.h"
#include "DomainStorage.h"
#include "LogCapture.h"
#include "SQLiteStore.h"
#include "SimulatedStores.h"
#include "Timeline.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

inline constexpr Date start = Date::since1970(1'700'000'000); ///< 2023-11-14T22:13:20Z
using enum UploadTaskType;

QUuid numberedId(int number);
Session storedSession(int number, Date startedAt, std::optional<Date> stoppedAt);
UploadTask storedTask(int number, UploadTaskType type, int priority = 100, Date createdAt = start);
mode_t modeOf(const QString& path);
/// Empty when there is no such file.
QByteArray contentOf(const QString& path);
void overwrite(const QString& path, const QByteArray& bytes);

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
    std::optional<SQLiteStore> store;

    StoreWorld() { useCompany("acme.test"); }

    void useCompany(const QString& host) { domain.setBaseURL(QUrl("https://" + host + "/api/v1/")); }
    SQLiteStore& open() { return store.emplace(folder, domain, clock, random); }
    void close() { store.reset(); }
    SQLiteStore& reopen() {
        close();
        return open();
    }
    /// Runs SQL on the file and gives its rows joined with blanks, columns joined with "|".
    std::string sql(const QByteArray& text) const { return querySQLite(file, text).join(' ').toStdString(); }
    /// How many databases were set aside, the logs that went with them not counted.
    qsizetype setAside() const;
};

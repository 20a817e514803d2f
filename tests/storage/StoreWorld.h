#pragma once

#include "DatabaseProbe.h"
#include "DomainStorage.h"
#include "SQLiteStore.h"
#include "SimulatedStores.h"
#include "Timeline.h"

#include <QStringList>
#include <QTemporaryDir>

/// A store on a real file in a temporary folder, and a second connection to look at the file.
struct StoreWorld {
    QTemporaryDir directory{fastTemporaryFolder()};
    MemoryPreferenceStore preferences;
    DomainStorage domain{preferences};
    Timeline timeline;
    SimulatedClock clock{timeline};
    SimulatedRandom random;
    std::optional<SQLiteStore> store;

    StoreWorld() { useCompany("acme.test"); }

    QString folder() const { return directory.filePath("Velmora TimeTracker"); }
    QString file() const { return folder() + "/timetracker.sqlite"; }
    void useCompany(const QString& host);
    SQLiteStore& open();
    void close() { store.reset(); }
    SQLiteStore& reopen();

    /// Runs SQL on the file and gives its rows, columns joined with "|"; NULL is shown as "NULL".
    QStringList sql(const QByteArray& text) const;
    /// Names of the databases that were set aside, without the logs that went with them.
    QStringList filesSetAside() const;
};

Session storedSession(int number, Date startedAt, std::optional<Date> stoppedAt);
UploadTask storedTask(int number, UploadTaskType type, int priority, Date createdAt);
QUuid numberedId(int number);

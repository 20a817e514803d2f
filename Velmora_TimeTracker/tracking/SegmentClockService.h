#pragma once

#include "model/SegmentUtils.h"
#include "platform/Executor.h"
#include "storage/SQLiteStore.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <deque>
#include <memory>

class Clock;
class DomainStorage;
class SessionManager;
class UploadService;

/// Counts, second by second, how much of the current 10-minute slot was active, and adds it to the slot's row in the
/// database. Counts that the database does not take stay in memory and are written again each minute. Main thread; what is
/// handed in must outlive it, but for the engine.
class SegmentClockService : public QObject {
public:
    SegmentClockService(SessionManager& sessionManager, SQLiteStore& store, const DomainStorage& domain,
                        UploadService& uploads, Clock& clock, Executor& main);

    /// Once, at boot: from then on the clock runs while tracking does.
    void bindToTrackingState();
    /// Ticks once a second from now on; a clock that runs already begins anew. The slot goes on, but not for another
    /// company.
    void start();
    /// Adds what was counted since the last write to the database. False when some of it is still to be written.
    bool flushCurrentSegment();

private:
    struct Slot {
        QString domainKey;                      ///< The company for which it is counted.
        SQLiteStore::ActivitySegmentRow counts; ///< Since they were last written.
        bool isUsed = false;                    ///< Something was counted in it, written or not.
    };

    void setRunning(bool isTracking);
    void tick();
    void enter(Date now, const QTimeZone& zone);
    bool write(Slot& slot);

    QPointer<SessionManager> sessionManager_;
    SQLiteStore& store_;
    const DomainStorage& domain_;
    UploadService& uploads_;
    Clock& clock_;
    Executor& main_;
    std::unique_ptr<Executor::Timer> timer_;
    QString domainKey_;      ///< The company for which the clock runs.
    std::deque<Slot> slots_; ///< The last is the open one; those before it are closed and not yet written.
    int ticksSinceLastPersist_ = 0;
};

#pragma once

#include "Executor.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <memory>
#include <optional>

class Clock;
class DomainStorage;
class SQLiteStore;
class SessionManager;
class UploadService;

/// Accumulates, second by second, how much of the current 10-minute slot was active, and writes the slot to
/// the database. The counters are the truth of the open slot: each write replaces the row, after a restart of
/// the program with smaller figures. Main thread; what is handed in must outlive it, but for the engine.
class SegmentClockService : public QObject {
public:
    SegmentClockService(SessionManager& sessionManager, SQLiteStore& store, const DomainStorage& domain,
                        UploadService& uploads, Clock& clock, Executor& main);

    /// Once, at boot: from then on the clock runs while tracking does.
    void bindToTrackingState();
    /// Ticks once a second from now on; a clock that runs already begins anew. The slot goes on, but not for another
    /// company.
    void start();
    /// Writes the open slot as it stands; the counters stay.
    void flushCurrentSegment();

private:
    void setRunning(bool isTracking);
    void tick();
    bool hasSegment() const;
    bool hasCounts() const;
    void rollOver(const QString& date, int number);
    void adopt(const QString& date, int number);

    QPointer<SessionManager> sessionManager_;
    SQLiteStore& store_;
    const DomainStorage& domain_;
    UploadService& uploads_;
    Clock& clock_;
    Executor& main_;
    std::unique_ptr<Executor::Timer> timer_;
    std::optional<QString> currentSegmentDate_;
    QString domainKey_;             ///< The company for which the present slot was counted.
    int currentSegmentNumber_ = -1; ///< Outside 0 to 143: no segment.
    int activeSeconds_ = 0;
    int nonIdleSeconds_ = 0;
    int mouseMovements_ = 0;
    int keyboardMovements_ = 0;
    int ticksSinceLastPersist_ = 0;
};

#pragma once

#include "capture/ScreenCaptureService.h"
#include "model/RemoteConfig.h"
#include "model/ServerTodayTotal.h"
#include "model/Session.h"
#include "platform/Executor.h"
#include "tracking/ActivityTracker.h"
#include "tracking/CaptureGate.h"
#include "tracking/IdleDetector.h"
#include "tracking/RecentActivity.h"
#include "tracking/RunningClock.h"
#include "tracking/SessionJournal.h"

#include <QObject>
#include <QTimeZone>
#include <functional>
#include <memory>
#include <optional>

class APITimeZoneResolver;
class Clock;
class DomainStorage;
class PermissionService;
class PreferenceStore;
class Random;
class SQLiteStore;
class UploadService;

/// The tracking engine: owns the running session, starts and stops everything that a session needs, and
/// publishes the state that the screens show. Main thread, but for `isCaptureEligible`. Nothing here fails
/// outwards: a failed write is a log line of the store, a failed upload is tried again by the queue.
///
/// - Stopped: nothing runs.
/// - Running: an open interval; ticker, activity tracker, idle detector and capture are on.
/// - Paused by the user, by idleness (`isIdle`) or by the machine's sleep: the last interval is closed;
///   tracker and capture are off; the idle detector stays on, and but for a sleep the ticker.
///
/// The implementation lies in five files: SessionManager.cpp (operations and ticker), SessionCapture.cpp,
/// SessionIdle.cpp, SessionRecovery.cpp (midnight, crash, sleep, termination) and SessionToday.cpp.
class SessionManager : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        SQLiteStore& store;
        UploadService& uploads;
        PreferenceStore& preferences;
        const DomainStorage& domain;
        APITimeZoneResolver& timeZones;
        PermissionService& permissions;
        ActivityTracker& activityTracker;
        IdleDetector& idleDetector;
        ScreenCaptureService& screenCapture;
        Clock& clock;
        Random& random;
        Executor& main;
    };
    struct ProjectReference {
        QString id;
        QString name;
        friend bool operator==(const ProjectReference&, const ProjectReference&) = default;
    };

    explicit SessionManager(const Dependencies& dependencies);
    ~SessionManager() override;

    // What the screens read. `changed` follows every change.
    const std::optional<Session>& currentSession() const { return currentSession_; }
    const std::optional<Session>& interruptedSession() const { return interruptedSession_; }
    const std::optional<ProjectReference>& crossDayAutoCompletedProject() const {
        return crossDayAutoCompletedProject_;
    }
    const QString& selectedProjectId() const { return selectedProjectId_; }
    bool isTracking() const { return isTracking_; }
    bool isPaused() const { return isPaused_; }
    bool isIdle() const { return isIdle_; }
    bool needsIdleDecision() const { return needsIdleDecision_; }
    Seconds elapsedSeconds() const { return elapsedSeconds_; }
    Seconds todayTotalSeconds() const { return todayTotalSeconds_; }
    qint64 mouseMoves() const { return mouseMoves_; }
    qint64 keyboardEvents() const { return keyboardEvents_; }
    double activityScore() const { return activityScore_; }
    /// Percentage of the last tracked seconds with input, over five minutes at most; absent when no session
    /// runs.
    std::optional<double> last5MinActivityRate() const { return recentActivity_.rate(); }
    const std::optional<QString>& lastStatusMessage() const { return lastStatusMessage_; }
    bool screenRecordingPermissionLost() const { return screenRecordingPermissionLost_; }
    const std::optional<RemoteConfig>& config() const { return config_; }
    /// One sentence for the person while a step of a session is not in the database; absent otherwise.
    std::optional<QString> notSavedMessage() const;

    // The user's operations. Each does nothing in a state that it does not apply to.
    /// Refused, with a status message, without the permissions. Finishes what an earlier run left active.
    void startTracking(const std::optional<RemoteProject>& project);
    void stopTracking(const std::optional<QString>& reason = std::nullopt);
    void pauseTracking();
    void resumeTracking();
    void selectProject(const QString& projectId);
    void dismissPermissionLost();
    void dismissCrossDayBanner();
    /// Goes on with the pending session, or with a new one on its project when it is of an earlier day.
    void resumeInterruptedSession();
    /// Ends the pending session at the last moment that it is known to have run.
    void finishInterruptedSession();

    // The application's operations.
    /// Leaves the pending session. It is finished when it is of an earlier day, or its company still signed in to; else it
    /// is offered again at the next sign-in.
    void discardInterruptedSession();
    /// Looks for the pending session of the company that is now signed in to.
    void recoverInterruptedSessionForCurrentDomain();
    /// Intervals and thresholds take effect at the next start or resume, the zone at once; without a configuration
    /// the stored zone stays.
    void applyConfig(const std::optional<RemoteConfig>& config);
    void applyServerTodayTotal(const ServerTodayTotal& incoming);
    void handleCaptureComplete();
    /// Ends the running session, without a report of its end, if it is the one with this id. False: another one or none runs, and
    /// nothing changes.
    bool handleSessionTakenOver(const QUuid& sessionId);
    void handleForceUpdateRequired();
    void handleScreenRecordingPermissionLost();
    void handleWillSleep();
    void handleDidWake();
    /// Everything is on disk when it returns.
    void handleWillTerminate();
    /// Clears the idle mark before a resume; the answer "Continue" to the idle question.
    void continueAfterIdle();
    /// Called when the idle question is due.
    void setNeedsIdleDecisionHandler(std::function<void()> handler) { onNeedsIdleDecision_ = std::move(handler); }

    // The segment clock's.
    struct SegmentTickInput {
        bool hadInput = false;
        bool isTracked = false;
        qint64 mouseDelta = 0;
        qint64 keyboardDelta = 0;
    };
    /// What happened since the last call; takes it away. Counts an active second of the session.
    SegmentTickInput segmentTickInput();
    void recordLast5MinInput(bool hadInput);

    /// Tracking, not paused, not idle. Any thread.
    bool isCaptureEligible() const { return captureGate_->isOpen(); }

    /// The zone that all dates of the engine are computed in: the configuration's, else the stored one; the
    /// machine's where that names none.
    QTimeZone engineTimeZone() const;

Q_SIGNALS:
    /// Something that the screens read has changed.
    void changed();
    /// `isTracking` has another value than before.
    void isTrackingChanged(bool isTracking);

private:
    /// Emits `changed` when the outermost one ends: once for an operation, however many others it runs.
    class Operation;

    // SessionManager.cpp
    void setTracking(bool isTracking);
    void setScreenRecordingPermissionLost(bool lost);
    void updateCaptureEligibility();
    void closeCurrentInterval(Date now);
    enum class EndReport { enqueued, none };
    void endCurrentSession(EndReport endReport);
    Session finished(Session session, Date asOf) const;
    void archive(const Session& session, const QString& domainKey, EndReport endReport);
    void begin(const Session& session);
    void enqueueStart();
    void processQueue();
    void clearPauses();
    void startTicker();
    void updateLiveMetrics();
    void startScreenCaptureTimer();
    void reportRunning();
    void markAlive(Date at);
    bool rowHasLastInterval() const;
    void copyCounts(Session& session, Date asOf) const;
    void save();
    Session newSession(const ProjectReference& project) const;
    TrackingInterval newInterval(Date startedAt);
    QString dateText(Date date) const;
    Date startOfDay(Date date) const;
    /// Runs `handle` on the main executor, unless the engine is gone by then. Any thread may call what it
    /// returns.
    std::function<void()> later(void (SessionManager::*handle)());

    // SessionIdle.cpp
    void configureAndStartIdleDetector();
    void handleIdleDetected();
    void handleIdleEnded();
    void pauseAsIdle();
    void applyIdleDiscardCutoff(Date lastInput);
    void applyIdleDiscardPolicyIfNeeded(Session& session) const;

    // SessionRecovery.cpp
    bool maybePerformMidnightRolloverIfNeeded(Date asOf);
    void performMidnightRollover(Date newDate);
    void finalizeInterruptedSessionIfCrossDay(Date now);
    void settleOpenInterval(Session& session, Date now) const;
    void completeStaleActiveSessions();
    void complete(Session stale, const QString& domainKey, Date now);
    void archiveDays(std::vector<Session> days, const QString& domainKey);
    void loadInterruptedSession();
    void cutAtClockStep(Date now);

    // SessionToday.cpp
    Seconds currentLocalTotal() const;
    void refreshTodayCompletedSeconds();
    void refreshBesideServer(Seconds localBefore);
    void recomputeTodayTotalSeconds();

    const Dependencies deps_;
    SessionJournal journal_;
    int operations_ = 0;      ///< How many `Operation`s are under way.
    bool hasChanged_ = false; ///< Something to tell when the outermost one ends.

    std::optional<Session> currentSession_;
    std::optional<Session> interruptedSession_;
    /// The companies that they belong to. A session outlives a sign-out.
    QString currentSessionDomain_, interruptedSessionDomain_;
    std::optional<ProjectReference> crossDayAutoCompletedProject_;
    QString selectedProjectId_;
    bool isTracking_ = false;
    bool isPaused_ = false;
    bool isIdle_ = false;
    bool needsIdleDecision_ = false;
    Seconds elapsedSeconds_ = 0;
    Seconds todayTotalSeconds_ = 0;
    qint64 mouseMoves_ = 0;
    qint64 keyboardEvents_ = 0;
    double activityScore_ = 0;
    std::optional<QString> lastStatusMessage_;
    bool screenRecordingPermissionLost_ = false;

    Seconds todayCompletedSeconds_ = 0;
    std::optional<ServerTodayTotal> serverTodayTotal_;
    QString serverTodayTotalDomain_; ///< The company whose figure it is.
    Seconds localTotalAtServerAnchor_ = 0;
    RecentActivity recentActivity_;
    std::optional<RemoteConfig> config_;
    std::unique_ptr<Executor::Timer> ticker_;
    RunningClock runningClock_;
    bool idleAskPresentedForCurrentIdlePeriod_ = false;
    bool pausedDueToSystemSleep_ = false;
    const std::shared_ptr<CaptureGate> captureGate_ = std::make_shared<CaptureGate>();
    int liveMetricsTick_ = 0;
    int heartbeatTick_ = 0;
    bool isReportDue_ = false; ///< A heartbeat fell into the pause.
    std::function<void()> onNeedsIdleDecision_;
    mutable QTimeZone zone_ = QTimeZone::utc(); ///< The last one asked for: making it is what costs.
};

#pragma once

#include "application/AppStateManager.h"
#include "application/MainThreadWatchdog.h"
#include "capture/PermissionService.h"
#include "capture/ScreenCaptureService.h"
#include "platform/Platform.h"
#include "server/APIClient.h"
#include "server/APIEndpoints.h"
#include "server/AuthService.h"
#include "server/RemoteConfigService.h"
#include "server/UploadTransport.h"
#include "storage/APITimeZoneResolver.h"
#include "storage/DomainStorage.h"
#include "storage/KeychainService.h"
#include "storage/SQLiteStore.h"
#include "tracking/ActivityTracker.h"
#include "tracking/IdleDetector.h"
#include "tracking/SegmentClockService.h"
#include "tracking/SessionManager.h"
#include "upload/NetworkMonitor.h"
#include "upload/RetryManager.h"
#include "upload/UploadService.h"

#include <QObject>

/// The whole program below the screens, built once from a platform, in boot order, and wired. The same object
/// runs on the real platform and in the simulated world. Main thread; lives until the process ends.
class TimeTrackerCore : public QObject {
    Q_OBJECT

public:
    explicit TimeTrackerCore(const Platform& platform);
    ~TimeTrackerCore() override;

    const Platform platform;
    /// The program's own folder.
    const QString folder;

    DomainStorage domain;
    KeychainService keychain;
    SQLiteStore store;
    APIEndpoints endpoints;
    APITimeZoneResolver timeZones;
    APIClient api;
    AuthService auth;
    RemoteConfigService remoteConfig;
    PermissionService permissions;
    ScreenCaptureService screenCapture;
    RetryManager retry;
    NetworkMonitor network;
    UploadTransport uploadTransport;
    UploadService uploads;
    ActivityTracker activityTracker;
    IdleDetector idleDetector;
    AppStateManager appState;
    SessionManager sessionManager;
    MainThreadWatchdog watchdog;
    SegmentClockService segmentClock;

    /// Takes a fetched configuration over the finish line: application state, then engine.
    void apply(const RemoteConfig& config);
    /// After a sign-in to a company: its stored data that names no user becomes this user's, and the pending session
    /// is looked for.
    void companyChanged();
    /// Starts the periodic refresh, with a fetch at once when there is no configuration; each update is applied on the main thread.
    void startPeriodicRefresh();
    /// Raises the unlock prompt of the keyring again, at the person's wish.
    void unlockKeyring();

Q_SIGNALS:
    /// "com.velmora.timetracker.authSessionDidInvalidate"; the core has acted on it already.
    void authSessionDidInvalidate();

private:
    void wire();
    void boot();
    bool adoptUnownedData();
    Task<> refreshOnceRestored();
    void askToUnlock();
    ServerAccess serverAccess();
    bool enforceForceUpdate(bool forceRequired, bool surfaceWindow);
    void presentIdleQuestion();
    void answerIdleQuestion(int button);
    void withdrawLapsedIdleQuestion();
    void presentTakeover();
    void handleSessionInvalidated();
    void listenToPower();
    void handlePower(void (SessionManager::*handle)());
    void listenToUploads();

    bool isAskingAboutIdleness_ = false;
};

#pragma once

#include "application/AppStateManager.h"
#include "application/CompanyAccount.h"
#include "application/MainThreadWatchdog.h"
#include "application/SessionAlerts.h"
#include "application/StoredSignIn.h"
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

/// The program below the screens: constructs all parts from a platform in boot order, connects and starts them. It
/// runs on the real and on the simulated platform. Main thread; lives until the process ends.
class TimeTrackerCore : public QObject {
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
    StoredSignIn storedSignIn;
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
    CompanyAccount company;
    SessionAlerts sessionAlerts;
    MainThreadWatchdog watchdog;
    SegmentClockService segmentClock;

private:
    void wire();
    void boot();
    std::function<void(SecretStore::Status)> keyringReporter();
    ServerAccess serverAccess();
    void listenToPower();
    void handlePower(void (SessionManager::*handle)());
    void listenToUploads();
    bool enforceForceUpdate(bool forceRequired, bool surfaceWindow);
};

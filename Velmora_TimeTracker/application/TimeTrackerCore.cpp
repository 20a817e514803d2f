#include "application/TimeTrackerCore.h"

#include "platform/PrivateFiles.h"
#include "storage/ApplicationFolder.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

QString createdFolder(const ApplicationInfo& information) {
    const QString folder = ApplicationFolder::path(information);
    PrivateFiles::create(folder);
    return folder;
}

std::function<void(Seconds)> stallWriter(const Platform& platform, const QString& folder) {
    return [&clock = platform.clock, file = StallLog::defaultLogURL(folder)](Seconds stall) {
        StallLog::append(file, clock.now(), stall);
    };
}

} // namespace

TimeTrackerCore::TimeTrackerCore(const Platform& thePlatform)
    : platform(thePlatform)
    , folder(createdFolder(platform.information))
    , domain(platform.preferences)
    , keychain(platform.secrets, [this] { storedSignIn.askToUnlock(); })
    , store(folder, domain, platform.clock)
    , endpoints(domain, platform.information)
    , timeZones(platform.preferences, platform.clock)
    , api(serverAccess(), platform.worker, platform.main)
    , auth({api, endpoints, keychain, domain, platform.preferences, timeZones, platform.clock, platform.worker,
            platform.main})
    , storedSignIn(keychain, auth, platform.userInitiated)
    , remoteConfig(api, auth, platform.preferences, platform.clock, platform.random, platform.worker, folder)
    , permissions(platform.permissions)
    , screenCapture({platform.displays, platform.permissions, platform.information, timeZones, platform.clock,
                     platform.screenCapture, platform.utility})
    , retry(platform.clock, platform.random)
    , network(platform.path)
    , uploadTransport(serverAccess())
    , uploads({uploadTransport, retry, network, store, domain, platform.preferences, timeZones, platform.information,
               platform.clock, platform.random, platform.worker})
    , activityTracker(platform.inputEvents, platform.clock)
    , idleDetector(platform.idleTime, platform.idle)
    , appState({remoteConfig, platform.information, platform.clock, platform.main, platform.userInitiated,
                [this, report = keyringReporter()] { return storedSignIn.restore(report); },
                [this] { return permissions.hasRequiredPermissions(); }})
    , sessionManager({store, uploads, platform.preferences, domain, timeZones, permissions, activityTracker,
                      idleDetector, screenCapture, platform.clock, platform.random, platform.main})
    , company({auth, remoteConfig, appState, sessionManager, domain, store, platform.preferences, platform.information,
               platform.main})
    , sessionAlerts(sessionManager, appState, platform.desktop)
    , watchdog(platform.clock, platform.watchdog, platform.main, stallWriter(platform, folder))
    , segmentClock(sessionManager, store, domain, uploads, platform.clock, platform.main) {
    wire();
    boot();
}

TimeTrackerCore::~TimeTrackerCore() = default;

/// Connects all callbacks before anything starts.
void TimeTrackerCore::wire() {
    auth.setSessionDidInvalidate([weak = QPointer(&company)] {
        if (weak)
            weak->handleSessionInvalidated();
    });
    listenToPower();
    listenToUploads();
    sessionManager.setNeedsIdleDecisionHandler([this] { sessionAlerts.presentIdleQuestion(); });
    appState.setForceUpdateEvaluated(
        [this](bool forceRequired, bool surfaceWindow) { return enforceForceUpdate(forceRequired, surfaceWindow); });
}

void TimeTrackerCore::boot() {
    company.restore();
    spawn(uploads.start(), "UploadService.start");
    watchdog.start();
    segmentClock.bindToTrackingState();
    spawn(company.refreshOnceRestored(), "refreshOnceRestored");
}

std::function<void(SecretStore::Status)> TimeTrackerCore::keyringReporter() {
    return [weak = QPointer(this), &main = platform.main](SecretStore::Status status) {
        main.post([weak, status] {
            if (weak)
                weak->appState.setKeyring(status);
        });
    };
}

ServerAccess TimeTrackerCore::serverAccess() {
    return {platform.urlSession, endpoints, keychain, [this] { return auth.handleUnauthorized(); }};
}

void TimeTrackerCore::listenToPower() {
    const auto atOnce = [weak = QPointer(this)](void (SessionManager::*handle)()) {
        return [weak, handle] {
            if (weak)
                weak->handlePower(handle);
        };
    };
    const auto later = [&main = platform.main](auto job) { return [&main, job] { main.post(job); }; };
    PowerEvents::Handlers handlers;
    handlers.willSleep = later(atOnce(&SessionManager::handleWillSleep));
    handlers.didWake = later(atOnce(&SessionManager::handleDidWake));
    handlers.willTerminate = atOnce(&SessionManager::handleWillTerminate); // the process ends when it returns
    platform.power.start(std::move(handlers));
}

/// The open segment is written too, since the machine may not wake up again.
void TimeTrackerCore::handlePower(void (SessionManager::*handle)()) {
    (sessionManager.*handle)();
    segmentClock.flushCurrentSegment();
}

/// Notifications are called on the worker and handled on the main thread.
void TimeTrackerCore::listenToUploads() {
    UploadService::Notifications notifications;
    notifications.serverTodayTotalDidUpdate = [weak = QPointer(this), &main = platform.main](ServerTodayTotal total,
                                                                                             QString domainKey) {
        main.post([weak, total, domainKey] {
            if (weak && weak->domain.domainKey() == domainKey)
                weak->sessionManager.applyServerTodayTotal(total);
        });
    };
    notifications.sessionTakenOverByOtherDevice = [weak = QPointer(this), &main = platform.main](QUuid sessionId, int) {
        main.post([weak, sessionId] {
            if (weak && weak->sessionManager.handleSessionTakenOver(sessionId))
                weak->sessionAlerts.presentTakeover();
        });
    };
    notifications.noticesDidChange = [weak = QPointer(this), &main = platform.main](UploadNotices notices) {
        main.post([weak, notices] {
            if (weak)
                weak->appState.setUploadNotices(notices);
        });
    };
    uploads.setNotifications(std::move(notifications));
}

bool TimeTrackerCore::enforceForceUpdate(bool forceRequired, bool surfaceWindow) {
    if (forceRequired)
        sessionManager.handleForceUpdateRequired();
    if (!forceRequired || !surfaceWindow)
        return false;
    platform.desktop.activate();
    if (appState.surfaceMainWindowAction()) {
        appState.surfaceMainWindowAction()();
        return true;
    }
    return platform.desktop.bringWindowToFront();
}

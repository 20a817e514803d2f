#include "application/TimeTrackerCore.h"

#include "platform/PrivateFiles.h"
#include "storage/ApplicationFolder.h"
#include "storage/CaptureFolder.h"
#include "storage/PreferenceStores.h"

#include <QPointer>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr Seconds keyringRetryInterval = 2.0;
const QString idleQuestion = u"IdleQuestionDialog"_s;

QString createdFolder(const ApplicationInfo& information) {
    const QString folder = ApplicationFolder::path(information);
    PrivateFiles::create(folder);
    return folder;
}

using Waiting = std::function<void(SecretStore::Status)>;

/// Whether a sign-in is stored. A locked keyring, or none yet, is no answer: the person is asked once to unlock it,
/// and it is then read again until it answers; `waiting` hears why it did not.
Task<bool> hasStoredSignIn(KeychainService& keychain, AuthService& auth, Executor& userInitiated, Waiting waiting) {
    const SignIn launched = auth.signIn();
    auto answer = keychain.readAuthTokens(SecretStore::WhenLocked::askToUnlock);
    while (!answer.isDefinite()) {
        waiting(answer.status);
        co_await sleepFor(userInitiated, keyringRetryInterval);
        answer = keychain.readAuthTokens(SecretStore::WhenLocked::giveUp);
    }
    co_return co_await auth.restore(answer.tokens.has_value(), launched);
}

std::function<Task<bool>()> launchRead(KeychainService& keychain, AuthService& auth, Executor& userInitiated,
                                       Waiting waiting) {
    return
        [&keychain, &auth, &userInitiated, waiting] { return hasStoredSignIn(keychain, auth, userInitiated, waiting); };
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
    , keychain(platform.secrets, [this] { platform.userInitiated.post([this] { askToUnlock(); }); })
    , store(folder, domain, platform.clock)
    , endpoints(domain, platform.information)
    , timeZones(platform.preferences, platform.clock)
    , api(serverAccess(), platform.worker, platform.main)
    , auth({api, endpoints, keychain, domain, platform.preferences, timeZones, platform.clock, platform.worker,
            platform.main})
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
                launchRead(keychain, auth, platform.userInitiated,
                           [weak = QPointer(this), &main = thePlatform.main](SecretStore::Status status) {
                               main.post([weak, status] {
                                   if (weak)
                                       weak->appState.setKeyring(status);
                               });
                           }),
                [this] { return permissions.hasRequiredPermissions(); }})
    , sessionManager({store, uploads, platform.preferences, domain, timeZones, permissions, activityTracker,
                      idleDetector, screenCapture, platform.clock, platform.random, platform.main})
    , watchdog(platform.clock, platform.watchdog, platform.main, stallWriter(platform, folder))
    , segmentClock(sessionManager, store, domain, uploads, platform.clock, platform.main) {
    wire();
    boot();
}

TimeTrackerCore::~TimeTrackerCore() = default;

// ---- Boot

/// Everything that reports to somebody gets to know whom, before anything runs.
void TimeTrackerCore::wire() {
    auth.setSessionDidInvalidate([weak = QPointer(this)] {
        if (weak)
            weak->handleSessionInvalidated();
    });
    listenToPower();
    listenToUploads();
    sessionManager.setNeedsIdleDecisionHandler([this] { presentIdleQuestion(); });
    appState.setForceUpdateEvaluated(
        [this](bool forceRequired, bool surfaceWindow) { return enforceForceUpdate(forceRequired, surfaceWindow); });
    connect(&sessionManager, &SessionManager::changed, this, &TimeTrackerCore::withdrawLapsedIdleQuestion);
}

void TimeTrackerCore::boot() {
    if (adoptUnownedData())
        sessionManager.recoverInterruptedSessionForCurrentDomain();
    // Before anything names a date or shows a window: the company's zone and rules hold from here on.
    if (const auto cached = remoteConfig.cachedConfig())
        apply(*cached);
    spawn(uploads.start(), "UploadService.start");
    watchdog.start();
    segmentClock.bindToTrackingState();
    spawn(refreshOnceRestored(), "refreshOnceRestored");
}

/// A sign-in of a version that stored no user is taken for that of the remembered e-mail.
bool TimeTrackerCore::adoptUnownedData() {
    const auto remembered = RememberedLoginStorage::savedEmail(platform.preferences);
    if (domain.hasCompany() && !domain.hasUser() && remembered)
        domain.setUser(*remembered);
    const QStringList formerKeys = domain.unownedDomainKeys();
    const QString key = domain.domainKey();
    const QString directory = CaptureFolder::capturesDirectory(platform.information, key);
    for (const QString& formerKey : formerKeys) {
        const QString formerDirectory = CaptureFolder::capturesDirectory(platform.information, formerKey);
        CaptureFolder::movePictures(formerDirectory, directory);
        store.adoptRows(formerKey, key, formerDirectory + u'/', directory + u'/');
    }
    return !formerKeys.isEmpty();
}

void TimeTrackerCore::companyChanged() {
    adoptUnownedData();
    sessionManager.recoverInterruptedSessionForCurrentDomain();
}

Task<> TimeTrackerCore::refreshOnceRestored() {
    const QPointer<TimeTrackerCore> self(this);
    co_await appState.awaitAuthRestore();
    if (self && appState.isAuthenticated())
        startPeriodicRefresh();
}

void TimeTrackerCore::apply(const RemoteConfig& config) {
    appState.publish(config);
    sessionManager.applyConfig(config);
}

void TimeTrackerCore::startPeriodicRefresh() {
    using enum RemoteConfigService::FirstFetch;
    remoteConfig.startPeriodicRefresh(
        appState.remoteConfig() ? afterInterval : atOnce,
        [weak = QPointer(this), &main = platform.main, &auth = auth](RemoteConfig config) {
            main.post([weak, config = std::move(config), signIn = auth.signIn()] {
                if (weak && weak->appState.isAuthenticated() && weak->auth.signIn() == signIn)
                    weak->apply(config);
            });
        });
}

// ---- What the lower folders call

void TimeTrackerCore::unlockKeyring() {
    appState.setKeyring(SecretStore::Status::failed); // until the person has answered
    platform.userInitiated.post([this] { askToUnlock(); });
}

/// May take as long as a person needs.
void TimeTrackerCore::askToUnlock() {
    keychain.readAuthTokens(SecretStore::WhenLocked::askToUnlock);
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

/// The slot is written at each of these moments, since the machine may not wake from its sleep.
void TimeTrackerCore::handlePower(void (SessionManager::*handle)()) {
    (sessionManager.*handle)();
    segmentClock.flushCurrentSegment();
}

/// The notifications come on the worker and are acted upon on the main thread.
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
                weak->presentTakeover();
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

/// Here and not in a window, so that it holds without any. The sessions end before the configuration is dropped, since
/// its rules apply to them.
void TimeTrackerCore::handleSessionInvalidated() {
    if (sessionManager.isTracking())
        sessionManager.stopTracking(u"Session ended"_s);
    sessionManager.discardInterruptedSession();
    appState.applySessionInvalidated();
    sessionManager.applyConfig(std::nullopt);
    Q_EMIT authSessionDidInvalidate();
}

// ---- What the person is told

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

void TimeTrackerCore::presentIdleQuestion() {
    if (appState.forceClientUpdate())
        return; // the update wall is up
    isAskingAboutIdleness_ = true;
    platform.desktop.activate();
    Alert alert;
    alert.style = Alert::Style::warning;
    alert.showsIcon = true;
    alert.message = u"You are idle"_s;
    alert.informative = u"Continue the session or stop?"_s;
    alert.buttons = {u"Continue"_s, u"Stop"_s};
    alert.identifier = idleQuestion;
    platform.desktop.present(alert, [weak = QPointer(this)](int button) {
        if (weak)
            weak->answerIdleQuestion(button);
    });
}

void TimeTrackerCore::answerIdleQuestion(int button) {
    isAskingAboutIdleness_ = false;
    if (button == 0)
        sessionManager.continueAfterIdle();
    else
        sessionManager.stopTracking(u"idle"_s);
}

/// The session went on or ended by another way.
void TimeTrackerCore::withdrawLapsedIdleQuestion() {
    if (!sessionManager.needsIdleDecision() && std::exchange(isAskingAboutIdleness_, false))
        platform.desktop.withdraw(idleQuestion);
}

void TimeTrackerCore::presentTakeover() {
    platform.desktop.activate();
    Alert alert;
    alert.showsIcon = true;
    alert.message = u"Session resumed on another device"_s;
    alert.informative = u"Tracking on this device was stopped because your session was resumed on another device."_s;
    alert.buttons = {u"OK"_s};
    alert.identifier = u"SessionTakenOverDialog"_s;
    platform.desktop.present(alert, [](int) {});
}

#include "application/AppStateManager.h"

#include "platform/Clock.h"
#include "platform/Log.h"
#include "server/AppVersion.h"
#include "server/RemoteConfigService.h"

#include <QPointer>
#include <utility>

namespace {

constexpr Seconds slowReadSeconds = 2.0;

/// Runs the launch read off the main thread; the result is delivered on `main`.
Task<bool> measuredRestore(Executor& userInitiated, const Clock& clock, std::function<Task<bool>()> restoreAuth) {
    const auto begin = clock.uptime();
    const bool isSignedIn = co_await runOn(userInitiated, restoreAuth);
    const Seconds took = std::chrono::duration<double>(clock.uptime() - begin).count();
    if (took > slowReadSeconds)
        qCCritical(Log::auth, "Keychain read took %.1fs — the user was probably asked to authorise access", took);
    co_return isSignedIn;
}

} // namespace

AppStateManager::AppStateManager(const Dependencies& dependencies)
    : deps_(dependencies)
    , hasRequiredPermissions_(deps_.probePermissions()) {
    startAuthRestore();
}

// ---- The launch read

void AppStateManager::startAuthRestore() {
    const auto restore = [](QPointer<AppStateManager> self, Executor& userInitiated, const Clock& clock,
                            std::function<Task<bool>()> restoreAuth) -> Task<> {
        const bool isSignedIn = co_await measuredRestore(userInitiated, clock, restoreAuth);
        if (self && self->isRestoringSession_)
            self->setAuthenticated(isSignedIn); // the result of an abandoned read is dropped
    };
    spawn(restore(this, deps_.userInitiated, deps_.clock, deps_.restoreAuth), "restoreAuth");
    const Seconds delay = static_cast<Seconds>(deps_.slowRestoreAfterNanoseconds) / 1e9;
    slowRestoreWatchdog_ = deps_.main.after(delay, [this] {
        authRestoreIsSlow_ = isRestoringSession_;
        Q_EMIT changed();
    });
}

void AppStateManager::setAuthenticated(bool isAuthenticated) {
    isAuthenticated_ = isAuthenticated;
    if (isRestoringSession_)
        endAuthRestore();
    Q_EMIT changed();
}

void AppStateManager::setUploadNotices(const UploadNotices& notices) {
    uploadNotices_ = notices;
    Q_EMIT changed();
}

void AppStateManager::endAuthRestore() {
    isRestoringSession_ = false;
    slowRestoreWatchdog_.reset();
    authRestoreIsSlow_ = false;
    for (const auto& waiter : std::exchange(authRestoreWaiters_, {}))
        waiter.complete(true);
}

bool AppStateManager::isRestoringVisibly() const {
    return isRestoringSession_ && !(authRestoreIsSlow_ && keyring_ == SecretStore::Status::absent);
}

void AppStateManager::setKeyring(SecretStore::Status status) {
    if (std::exchange(keyring_, status) != status)
        Q_EMIT changed();
}

Task<> AppStateManager::awaitAuthRestore() {
    if (!isRestoringSession_)
        co_return;
    const Completion<bool> ended(deps_.main);
    authRestoreWaiters_.push_back(ended);
    co_await ended;
}

void AppStateManager::abandonAuthRestore() {
    if (!isRestoringSession_)
        return;
    qCCritical(Log::auth, "User abandoned a stalled launch keychain read; showing the login screen");
    setAuthenticated(false);
}

// ---- Configuration and version

void AppStateManager::publish(const RemoteConfig& config) {
    remoteConfig_ = config;
    projects_ = config.projects;
    evaluateClientVersion(remoteConfig_);
}

void AppStateManager::evaluateClientVersion(const std::optional<RemoteConfig>& config) {
    const QString required = config ? config->latestClientVersion.value_or(QString()).trimmed() : QString();
    clearForceUpdate();
    if (!required.isEmpty()) {
        forceUpdateLatestVersion_ = required;
        forceClientUpdate_ = AppVersion::isLower(AppVersion::currentMarketingVersion(deps_.information), required);
        const QUrl download(config->clientDownloadURL.value_or(QString()), QUrl::StrictMode);
        if (forceClientUpdate_ && !download.isEmpty() && download.isValid())
            forceUpdateDownloadURL_ = download;
    }
    Q_EMIT changed();
    applyForceUpdateEnforcement();
}

/// If no window could be shown, the next evaluation tries again.
void AppStateManager::applyForceUpdateEnforcement() {
    const bool surfaceWindow = forceClientUpdate_ && !didSurfaceForceUpdate_;
    const bool surfaced = onForceUpdateEvaluated_ && onForceUpdateEvaluated_(forceClientUpdate_, surfaceWindow);
    didSurfaceForceUpdate_ = forceClientUpdate_ && (didSurfaceForceUpdate_ || surfaced);
}

void AppStateManager::clearForceUpdate() {
    forceClientUpdate_ = false;
    forceUpdateLatestVersion_.reset();
    forceUpdateDownloadURL_.reset();
}

void AppStateManager::installWindowActions(std::function<void()> surfaceMainWindow,
                                           std::function<void()> openSettings) {
    surfaceMainWindowAction_ = std::move(surfaceMainWindow);
    openSettingsMenuAction_ = std::move(openSettings);
    if (forceClientUpdate_ && !didSurfaceForceUpdate_)
        applyForceUpdateEnforcement();
}

Task<> AppStateManager::refreshRemoteConfigFromServer() {
    const QPointer<AppStateManager> self(this);
    const bool wasAuthenticated = isAuthenticated_;
    const RemoteConfig config = co_await deps_.remoteConfigService.fetchConfig();
    if (!self || (wasAuthenticated && !isAuthenticated_))
        co_return; // signed out meanwhile: the configuration belongs to the former sign-in
    publish(config);
}

// ---- Signing out

void AppStateManager::applySessionInvalidated() {
    applySignedOut();
    deps_.remoteConfigService.stopPeriodicRefresh();
}

void AppStateManager::applySignedOut() {
    remoteConfig_.reset();
    projects_.clear();
    clearForceUpdate();
    didSurfaceForceUpdate_ = false;
    setAuthenticated(false);
}

// ---- Permissions and tabs

void AppStateManager::recomputePermissions() {
    if (std::exchange(hasRequiredPermissions_, deps_.probePermissions()) != hasRequiredPermissions_)
        Q_EMIT changed();
}

void AppStateManager::setPendingMainTab(const std::optional<MainTab>& tab) {
    if (std::exchange(pendingMainTab_, tab) != pendingMainTab_)
        Q_EMIT changed();
}

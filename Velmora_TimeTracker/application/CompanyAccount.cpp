#include "application/CompanyAccount.h"

#include "application/AppStateManager.h"
#include "server/AuthService.h"
#include "server/RemoteConfigService.h"
#include "storage/CaptureFolder.h"
#include "storage/DomainStorage.h"
#include "storage/PreferenceStores.h"
#include "storage/SQLiteStore.h"
#include "tracking/SessionManager.h"

#include <QPointer>

using namespace Qt::StringLiterals;

CompanyAccount::CompanyAccount(const Dependencies& dependencies)
    : deps_(dependencies) {}

void CompanyAccount::restore() {
    if (adoptUnownedData())
        deps_.sessionManager.recoverInterruptedSessionForCurrentDomain();
    if (const auto cached = deps_.remoteConfig.cachedConfig())
        apply(*cached);
}

Task<> CompanyAccount::refreshOnceRestored() {
    const QPointer<CompanyAccount> self(this);
    co_await deps_.appState.awaitAuthRestore();
    if (self && deps_.appState.isAuthenticated())
        startPeriodicRefresh();
}

void CompanyAccount::signedIn(const RemoteConfig& config) {
    deps_.appState.publish(config);
    deps_.appState.setAuthenticated(true);
    deps_.sessionManager.applyConfig(config);
    deps_.appState.recomputePermissions();
    companyChanged();
    startPeriodicRefresh();
}

void CompanyAccount::apply(const RemoteConfig& config) {
    deps_.appState.publish(config);
    deps_.sessionManager.applyConfig(config);
}

void CompanyAccount::companyChanged() {
    adoptUnownedData();
    deps_.sessionManager.recoverInterruptedSessionForCurrentDomain();
}

/// Versions before this one stored data without its user: it is assigned to the remembered e-mail address. Returns whether
/// any was found.
bool CompanyAccount::adoptUnownedData() {
    const auto remembered = RememberedLoginStorage::savedEmail(deps_.preferences);
    if (deps_.domain.hasCompany() && !deps_.domain.hasUser() && remembered)
        deps_.domain.setUser(*remembered);
    const QStringList formerKeys = deps_.domain.unownedDomainKeys();
    const QString key = deps_.domain.domainKey();
    const QString directory = CaptureFolder::capturesDirectory(deps_.information, key);
    for (const QString& formerKey : formerKeys) {
        const QString formerDirectory = CaptureFolder::capturesDirectory(deps_.information, formerKey);
        CaptureFolder::movePictures(formerDirectory, directory);
        deps_.store.adoptRows(formerKey, key, formerDirectory + u'/', directory + u'/');
    }
    return !formerKeys.isEmpty();
}

/// Fetches at once if there is no configuration yet. An update is dropped when its sign-in has ended meanwhile.
void CompanyAccount::startPeriodicRefresh() {
    using enum RemoteConfigService::FirstFetch;
    deps_.remoteConfig.startPeriodicRefresh(
        deps_.appState.remoteConfig() ? afterInterval : atOnce,
        [weak = QPointer(this), &main = deps_.main, &auth = deps_.auth](RemoteConfig config) {
            main.post([weak, config = std::move(config), signIn = auth.signIn()] {
                if (weak && weak->deps_.appState.isAuthenticated() && weak->deps_.auth.signIn() == signIn)
                    weak->apply(config);
            });
        });
}

void CompanyAccount::handleSessionInvalidated() {
    if (deps_.sessionManager.isTracking())
        deps_.sessionManager.stopTracking(u"Session ended"_s);
    deps_.sessionManager.discardInterruptedSession();
    deps_.appState.applySessionInvalidated();
    deps_.sessionManager.applyConfig(std::nullopt);
    Q_EMIT authSessionDidInvalidate();
}

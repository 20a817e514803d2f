#include "UpdateCheck.h"

#include "APIError.h"
#include "AppStateManager.h"
#include "Desktop.h"
#include "SessionManager.h"

namespace {

void tell(Desktop& desktop, const QString& message, const QString& informative = QString()) {
    Alert alert;
    alert.message = message;
    alert.informative = informative;
    alert.buttons = {QStringLiteral("OK")};
    desktop.present(alert, [](int) {});
}

} // namespace

Task<> checkForUpdatesFromMenu(AppStateManager& appState, SessionManager& sessionManager, Desktop& desktop) {
    if (!appState.isAuthenticated()) {
        tell(desktop, QStringLiteral("Sign in to check for updates."));
        co_return;
    }
    std::optional<QString> failure;
    try {
        co_await appState.refreshRemoteConfigFromServer();
    } catch (const APIError& error) {
        failure = error.localizedDescription();
    } catch (const std::exception& error) {
        failure = QString::fromUtf8(error.what());
    }
    if (failure) {
        tell(desktop, QStringLiteral("Failed to check for updates."), *failure);
        co_return;
    }
    sessionManager.applyConfig(appState.remoteConfig());
    tell(desktop, appState.forceClientUpdate() ? QStringLiteral("A newer version is available.")
                                               : QStringLiteral("You’re up to date."));
}

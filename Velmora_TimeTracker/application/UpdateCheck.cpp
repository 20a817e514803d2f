#include "application/UpdateCheck.h"

#include "application/AppStateManager.h"
#include "platform/Desktop.h"
#include "server/APIError.h"
#include "tracking/SessionManager.h"

using namespace Qt::StringLiterals;

namespace {

const QString signInFirst = u"Sign in to check for updates."_s;

void tell(Desktop& desktop, const QString& message, const QString& informative = QString()) {
    Alert alert;
    alert.message = message;
    alert.informative = informative;
    alert.buttons = {u"OK"_s};
    desktop.present(alert, [](int) {});
}

} // namespace

Task<> checkForUpdatesFromMenu(AppStateManager& appState, SessionManager& sessionManager, Desktop& desktop) {
    if (!appState.isAuthenticated())
        co_return tell(desktop, signInFirst);
    std::optional<QString> failure;
    try {
        co_await appState.refreshRemoteConfigFromServer();
    } catch (const APIError& error) {
        failure = error.localizedDescription();
    } catch (const std::exception& error) {
        failure = QString::fromUtf8(error.what());
    }
    if (!appState.isAuthenticated()) // signed out meanwhile: the result does not count
        co_return tell(desktop, signInFirst);
    if (failure)
        co_return tell(desktop, u"Failed to check for updates."_s, *failure);
    sessionManager.applyConfig(appState.remoteConfig());
    tell(desktop, appState.forceClientUpdate() ? u"A newer version is available."_s : u"You’re up to date."_s);
}

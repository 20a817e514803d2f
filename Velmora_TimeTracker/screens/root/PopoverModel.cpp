#include "screens/root/PopoverModel.h"

#include "application/AppStateManager.h"
#include "tracking/SessionManager.h"

#include <QPointer>
#include <utility>

PopoverModel::PopoverModel(const Dependencies& dependencies)
    : deps_(dependencies) {
    connect(&deps_.appState, &AppStateManager::changed, this, [this] {
        takePendingTab();
        Q_EMIT changed();
    });
    connect(&deps_.sessionManager, &SessionManager::changed, this, &PopoverModel::changed);
}

Routing::Screen PopoverModel::screen() const {
    const AppStateManager& app = deps_.appState;
    return Routing::screen({.isRestoringSession = app.isRestoringVisibly(),
                            .isAuthenticated = app.isAuthenticated(),
                            .forceClientUpdate = app.forceClientUpdate(),
                            .hasRequiredPermissions = app.hasRequiredPermissions(),
                            .hasInterruptedSession = deps_.sessionManager.interruptedSession().has_value()});
}

Routing::HeaderStatus PopoverModel::headerStatus() const {
    const SessionManager& engine = deps_.sessionManager;
    return Routing::headerStatus(engine.isTracking(), engine.needsIdleDecision(), engine.isIdle(), engine.isPaused());
}

void PopoverModel::takePendingTab() {
    if (const auto tab = deps_.appState.pendingMainTab()) {
        activeTab_ = *tab;
        deps_.appState.setPendingMainTab(std::nullopt);
    }
}

void PopoverModel::runInitialLoad() {
    if (std::exchange(didRunInitialLoad_, true))
        return;
    spawn(recomputePermissionsAfterRestore(), "initial load");
}

Task<> PopoverModel::recomputePermissionsAfterRestore() {
    const QPointer<PopoverModel> self(this);
    co_await deps_.appState.awaitAuthRestore();
    if (self && deps_.appState.isAuthenticated())
        deps_.appState.recomputePermissions();
}

#include "screens/root/PopoverModel.h"

#include "application/TimeTrackerCore.h"
#include "screens/text/Formatting.h"

#include <QPointer>

using namespace Qt::StringLiterals;

Routing::Screen Routing::screen(const State& state) {
    if (state.isRestoringSession)
        return Screen::restore;
    if (!state.isAuthenticated)
        return Screen::login;
    if (state.forceClientUpdate)
        return Screen::forcedUpdate;
    if (!state.hasRequiredPermissions)
        return Screen::permissions;
    return state.hasInterruptedSession ? Screen::interrupted : Screen::tabs;
}

bool Routing::hasHeader(Screen screen) {
    return screen == Screen::permissions || screen == Screen::interrupted || screen == Screen::tabs;
}

int Routing::contentHeight(Screen screen) {
    switch (screen) {
    case Screen::forcedUpdate:
        return 340;
    case Screen::permissions:
        return 320;
    default:
        return 480;
    }
}

Routing::HeaderStatus Routing::headerStatus(bool isTracking, bool needsIdleDecision, bool isIdle, bool isPaused) {
    if (!isTracking)
        return {u"Not Tracking"_s, StatusTone::brand};
    const StatusTone tone = isPaused || isIdle ? StatusTone::warning : StatusTone::success;
    if (needsIdleDecision)
        return {u"Was Idle"_s, tone};
    if (isIdle)
        return {u"Idle – Paused"_s, tone};
    return {isPaused ? u"Paused"_s : u"Tracking"_s, tone};
}

PopoverModel::PopoverModel(TimeTrackerCore& core)
    : core_(core)
    , activeTab_(MainTab::tracker) {
    connect(&core.appState, &AppStateManager::changed, this, [this] {
        takePendingTab();
        Q_EMIT changed();
    });
    connect(&core.sessionManager, &SessionManager::changed, this, &PopoverModel::changed);
}

Routing::Screen PopoverModel::screen() const {
    const AppStateManager& app = core_.appState;
    return Routing::screen({.isRestoringSession = app.isRestoringVisibly(),
                            .isAuthenticated = app.isAuthenticated(),
                            .forceClientUpdate = app.forceClientUpdate(),
                            .hasRequiredPermissions = app.hasRequiredPermissions(),
                            .hasInterruptedSession = core_.sessionManager.interruptedSession().has_value()});
}

Routing::HeaderStatus PopoverModel::headerStatus() const {
    const SessionManager& engine = core_.sessionManager;
    return Routing::headerStatus(engine.isTracking(), engine.needsIdleDecision(), engine.isIdle(), engine.isPaused());
}

void PopoverModel::takePendingTab() {
    if (const auto tab = core_.appState.pendingMainTab()) {
        activeTab_ = *tab;
        core_.appState.setPendingMainTab(std::nullopt);
    }
}

void PopoverModel::runInitialLoad() {
    if (std::exchange(didRunInitialLoad_, true))
        return;
    spawn(recomputePermissionsAfterRestore(), "initial load");
}

Task<> PopoverModel::recomputePermissionsAfterRestore() {
    const QPointer<PopoverModel> self(this);
    co_await core_.appState.awaitAuthRestore();
    if (self && core_.appState.isAuthenticated())
        core_.appState.recomputePermissions();
}

bool PopoverModel::authRestoreIsSlow() const {
    return core_.appState.authRestoreIsSlow();
}

bool PopoverModel::keyringIsLocked() const {
    return core_.appState.keyringIsLocked();
}

void PopoverModel::unlockKeyring() {
    core_.unlockKeyring();
}

void PopoverModel::abandonAuthRestore() {
    core_.appState.abandonAuthRestore();
}

std::optional<QString> PopoverModel::latestVersion() const {
    return core_.appState.forceUpdateLatestVersion();
}

bool PopoverModel::hasDownload() const {
    return core_.appState.forceUpdateDownloadURL().has_value();
}

void PopoverModel::openDownload() {
    if (const auto& url = core_.appState.forceUpdateDownloadURL())
        core_.platform.desktop.open(*url);
}

PopoverModel::PermissionStates PopoverModel::probePermissions() const {
    return {core_.permissions.hasScreenRecordingPermission(), core_.permissions.hasInputMonitoringPermission(),
            core_.permissions.explanation()};
}

void PopoverModel::openScreenRecordingSettings() {
    core_.permissions.openScreenRecordingSettings();
}

void PopoverModel::askForInputMonitoring() {
    core_.permissions.requestInputMonitoringPermissionIfNeeded();
    if (!core_.permissions.hasInputMonitoringPermission())
        core_.permissions.openInputMonitoringSettings();
    checkPermissionsAgain();
}

void PopoverModel::checkPermissionsAgain() {
    core_.appState.recomputePermissions();
    // The states on the screen may have changed although their sum has not.
    Q_EMIT changed();
}

QString PopoverModel::interruptedSince() const {
    const auto& session = core_.sessionManager.interruptedSession();
    if (!session || session->intervals.empty())
        return u"Started unknown"_s;
    return u"Started "_s + Formatting::relative(session->intervals.front().startedAt, core_.platform.clock.now());
}

QString PopoverModel::interruptedTask() const {
    const auto& session = core_.sessionManager.interruptedSession();
    return session ? session->projectName : QString();
}

void PopoverModel::resumeInterruptedSession() {
    core_.sessionManager.resumeInterruptedSession();
}

void PopoverModel::finishInterruptedSession() {
    core_.sessionManager.finishInterruptedSession();
}

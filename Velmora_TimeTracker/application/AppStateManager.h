#pragma once

#include "application/MainTab.h"
#include "model/RemoteConfig.h"
#include "model/UploadNotices.h"
#include "platform/SecretStore.h"
#include "platform/Task.h"

#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class ApplicationInfo;
class Clock;
class RemoteConfigService;

/// What the user may see: signed in or not, the launch read of the stored sign-in, the permissions, a forced
/// update. Main thread.
class AppStateManager : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        RemoteConfigService& remoteConfigService;
        const ApplicationInfo& information;
        const Clock& clock;
        Executor& main;
        Executor& userInitiated;
        /// Runs on `userInitiated`; returns whether a sign-in is stored. May wait for the user to answer a prompt.
        std::function<Task<bool>()> restoreAuth;
        std::function<bool()> probePermissions;
        quint64 slowRestoreAfterNanoseconds = 8'000'000'000;
    };
    /// Returns whether a window was shown.
    using ForceUpdateEvaluated = std::function<bool(bool forceRequired, bool surfaceWindow)>;

    /// Starts the launch read.
    explicit AppStateManager(const Dependencies& dependencies);

    bool isAuthenticated() const { return isAuthenticated_; }
    bool isRestoringSession() const { return isRestoringSession_; }
    bool authRestoreIsSlow() const { return authRestoreIsSlow_; }
    /// True while the launch read blocks the screens. False once the read is slow and the session has no keyring: the
    /// sign-in form is shown, and the read continues in case a keyring appears.
    bool isRestoringVisibly() const;
    /// True while the launch read waits for the user to unlock the keyring.
    bool keyringIsLocked() const { return isRestoringSession_ && keyring_ == SecretStore::Status::locked; }
    bool hasRequiredPermissions() const { return hasRequiredPermissions_; }
    const std::optional<RemoteConfig>& remoteConfig() const { return remoteConfig_; }
    const std::vector<RemoteProject>& projects() const { return projects_; }
    bool forceClientUpdate() const { return forceClientUpdate_; }
    const std::optional<QString>& forceUpdateLatestVersion() const { return forceUpdateLatestVersion_; }
    const std::optional<QUrl>& forceUpdateDownloadURL() const { return forceUpdateDownloadURL_; }
    const std::optional<MainTab>& pendingMainTab() const { return pendingMainTab_; }

    const UploadNotices& uploadNotices() const { return uploadNotices_; }

    void setUploadNotices(const UploadNotices& notices);
    /// Also ends a launch read that is still pending.
    void setAuthenticated(bool isAuthenticated);
    /// Stores the configuration and its projects, and evaluates the client version against it.
    void publish(const RemoteConfig& config);
    void evaluateClientVersion(const std::optional<RemoteConfig>& config);
    void recomputePermissions();
    /// Why the keyring has not returned the stored sign-in yet.
    void setKeyring(SecretStore::Status status);
    void setPendingMainTab(const std::optional<MainTab>& tab);

    /// Resumes when the launch read has ended; at once if it has already.
    Task<> awaitAuthRestore();
    /// The user chose to sign in instead of waiting for the launch read.
    void abandonAuthRestore();
    /// The stored sign-in was rejected.
    void applySessionInvalidated();
    /// The user signed out: the same, but the refresh loop continues.
    void applySignedOut();
    /// Throws APIError. Does not touch the engine: each caller applies the configuration itself.
    Task<> refreshRemoteConfigFromServer();

    void setForceUpdateEvaluated(ForceUpdateEvaluated handler) { onForceUpdateEvaluated_ = std::move(handler); }
    /// Installed by the shell. Shows a forced update that was found before a window existed.
    void installWindowActions(std::function<void()> surfaceMainWindow, std::function<void()> openSettings);
    const std::function<void()>& surfaceMainWindowAction() const { return surfaceMainWindowAction_; }
    const std::function<void()>& openSettingsMenuAction() const { return openSettingsMenuAction_; }

Q_SIGNALS:
    /// Emitted after each change of a value above.
    void changed();

private:
    void startAuthRestore();
    void endAuthRestore();
    void applyForceUpdateEnforcement();
    void clearForceUpdate();

    const Dependencies deps_;
    bool isAuthenticated_ = false;
    bool isRestoringSession_ = true;
    bool authRestoreIsSlow_ = false;
    SecretStore::Status keyring_ = SecretStore::Status::failed;
    bool hasRequiredPermissions_ = false;
    std::optional<RemoteConfig> remoteConfig_;
    std::vector<RemoteProject> projects_;
    bool forceClientUpdate_ = false;
    std::optional<QString> forceUpdateLatestVersion_;
    std::optional<QUrl> forceUpdateDownloadURL_;
    std::optional<MainTab> pendingMainTab_;
    UploadNotices uploadNotices_;

    std::vector<Completion<bool>> authRestoreWaiters_;
    std::function<void()> openSettingsMenuAction_;
    std::function<void()> surfaceMainWindowAction_;
    ForceUpdateEvaluated onForceUpdateEvaluated_;
    bool didSurfaceForceUpdate_ = false;
    std::unique_ptr<Executor::Timer> slowRestoreWatchdog_;
};

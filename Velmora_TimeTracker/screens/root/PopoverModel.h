#pragma once

#include "platform/Task.h"

#include <QObject>
#include <QString>
#include <optional>

class TimeTrackerCore;
enum class MainTab;

/// What the root view shows, and what it says in its header. Pure.
namespace Routing {

enum class Screen { restore, login, forcedUpdate, permissions, interrupted, tabs };
struct State {
    bool isRestoringSession = false;
    bool isAuthenticated = false;
    bool forceClientUpdate = false;
    bool hasRequiredPermissions = false;
    bool hasInterruptedSession = false;
};
Screen screen(const State& state);
/// The header bar stands above everything from the permissions on.
bool hasHeader(Screen screen);
/// The popover's height in logical pixels.
int contentHeight(Screen screen);

enum class StatusTone { brand, warning, success };
struct HeaderStatus {
    QString label;
    StatusTone tone = StatusTone::brand;
    friend bool operator==(const HeaderStatus&, const HeaderStatus&) = default;
};
HeaderStatus headerStatus(bool isTracking, bool needsIdleDecision, bool isIdle, bool isPaused);

} // namespace Routing

/// The root of the program's screens: which one is shown, and the small ones that have no model of their own.
/// Main thread.
class PopoverModel : public QObject {
    Q_OBJECT

public:
    explicit PopoverModel(TimeTrackerCore& core);

    Routing::Screen screen() const;
    Routing::HeaderStatus headerStatus() const;
    MainTab activeTab() const { return activeTab_; }

    /// Once, when the first view appears: the permissions are asked afresh after the restore.
    void runInitialLoad();

    // The restore screen.
    bool authRestoreIsSlow() const;
    void abandonAuthRestore();
    bool keyringIsLocked() const;
    void unlockKeyring();

    // The forced-update screen.
    std::optional<QString> latestVersion() const;
    bool hasDownload() const;
    void openDownload();

    // The permission screen. The states are probed at each call.
    struct PermissionStates {
        bool screenRecording = false;
        bool inputMonitoring = false;
        QString explanation; ///< Why one is missing; empty when none is.
    };
    PermissionStates probePermissions() const;
    void openScreenRecordingSettings();
    void askForInputMonitoring();
    void checkPermissionsAgain();

    // The interrupted-session screen.
    QString interruptedSince() const;
    QString interruptedTask() const;
    void resumeInterruptedSession();
    void finishInterruptedSession();

Q_SIGNALS:
    void changed();

private:
    Task<> recomputePermissionsAfterRestore();
    void takePendingTab();

    TimeTrackerCore& core_;
    MainTab activeTab_;
    bool didRunInitialLoad_ = false;
};

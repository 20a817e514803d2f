#pragma once

#include <QObject>
#include <QString>

class AppStateManager;
class PermissionService;

/// The screen that names the permissions which tracking needs and lacks. Main thread.
class PermissionModel : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        AppStateManager& appState;
        PermissionService& permissions;
    };
    explicit PermissionModel(const Dependencies& dependencies);

    struct PermissionStates {
        bool screenRecording = false;
        bool inputMonitoring = false;
        QString explanation; ///< Why one is missing; empty if none is.
    };
    /// Probes the desktop at each call.
    PermissionStates probePermissions() const;
    void openScreenRecordingSettings();
    void askForInputMonitoring();
    void checkPermissionsAgain();

Q_SIGNALS:
    void changed();

private:
    const Dependencies deps_;
};

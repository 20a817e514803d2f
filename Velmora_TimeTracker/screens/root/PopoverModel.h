#pragma once

#include "application/MainTab.h"
#include "platform/Task.h"
#include "screens/root/Routing.h"

#include <QObject>

class AppStateManager;
class SessionManager;

/// The root of the program's screens: which one is shown, the header above it and the selected tab. Main thread.
class PopoverModel : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        AppStateManager& appState;
        const SessionManager& sessionManager;
    };
    explicit PopoverModel(const Dependencies& dependencies);

    Routing::Screen screen() const;
    Routing::HeaderStatus headerStatus() const;
    MainTab activeTab() const { return activeTab_; }

    /// When a view appears; acts once: probes the permissions again after the launch read.
    void runInitialLoad();

Q_SIGNALS:
    void changed();

private:
    Task<> recomputePermissionsAfterRestore();
    void takePendingTab();

    const Dependencies deps_;
    MainTab activeTab_ = MainTab::tracker;
    bool didRunInitialLoad_ = false;
};

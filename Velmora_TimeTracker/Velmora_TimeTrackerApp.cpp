#include "Velmora_TimeTrackerApp.h"

#include "application/TimeTrackerCore.h"
#include "platform/linux/LinuxPlatform.h"
#include "screens/design/ThemeManager.h"
#include "screens/design/VRImages.h"
#include "screens/root/ScreenModels.h"
#include "shell/control/SingleInstance.h"
#include "shell/window/MainWindow.h"
#include "shell/window/QtDesktop.h"

#include <QApplication>

struct Velmora_TimeTrackerApp::Parts {
    QtDesktop desktop;
    LinuxPlatform system;
    const Platform platform{system.platform(desktop)};
    ThemeManager theme{platform.preferences};
    VRImages images;
    TimeTrackerCore core{platform};
    ScreenModels models{core};
    MainWindow window{models, theme, images};

    // Stop the threads before destroying the objects they use.
    ~Parts() { system.stop(); }

    void wire() {
        desktop.setTheme(theme, images);
        desktop.setWindow(window);
        QObject::connect(&theme, &ThemeManager::paletteChanged, &window, [this] { images.clear(); });
        QObject::connect(&window, &MainWindow::quitRequested, &window, [this] { desktop.terminate(); });
        // Direct: the session manager waits only until the handler returns.
        QObject::connect(
            qApp, &QGuiApplication::commitDataRequest, &window, [this] { system.sessionIsEnding(); },
            Qt::DirectConnection);
        core.appState.installWindowActions([this] { window.bringUp(); },
                                           [this] {
                                               window.bringUp();
                                               core.appState.setPendingMainTab(MainTab::settings);
                                           });
    }
};

Velmora_TimeTrackerApp::Velmora_TimeTrackerApp(SingleInstance& instance)
    : parts_(std::make_unique<Parts>()) {
    parts_->wire();
    instance.onActivationRequested([this] { parts_->window.bringUp(); });
    parts_->window.bringUp();
}

Velmora_TimeTrackerApp::~Velmora_TimeTrackerApp() = default;

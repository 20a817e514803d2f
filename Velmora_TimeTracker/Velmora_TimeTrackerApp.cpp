#include "Velmora_TimeTrackerApp.h"

#include "SingleInstance.h"

#include <QApplication>

Velmora_TimeTrackerApp::Velmora_TimeTrackerApp(SingleInstance& instance)
    : platform_(linux_.platform(desktop_))
    , theme_(platform_.preferences)
    , core_(platform_)
    , login_(core_)
    , root_(core_)
    , tracker_(core_)
    , window_({root_, login_, tracker_}, theme_, images_) {
    wire(instance);
    window_.bringUp();
}

Velmora_TimeTrackerApp::~Velmora_TimeTrackerApp() {
    linux_.stop();
}

void Velmora_TimeTrackerApp::wire(SingleInstance& instance) {
    desktop_.setTheme(theme_, images_);
    desktop_.setWindow(window_);
    QObject::connect(&theme_, &ThemeManager::paletteChanged, &window_, [this] { images_.clear(); });
    QObject::connect(&window_, &MainWindow::quitRequested, &window_, [this] { desktop_.terminate(); });
    // Must be done when the handler returns: the session manager waits for nothing else.
    QObject::connect(
        qApp, &QGuiApplication::commitDataRequest, &window_, [this] { linux_.sessionIsEnding(); },
        Qt::DirectConnection);
    core_.appState.installWindowActions([this] { window_.bringUp(); },
                                        [this] {
                                            window_.bringUp();
                                            core_.appState.setPendingMainTab(MainTab::settings);
                                        });
    instance.onActivationRequested([this] { window_.bringUp(); });
}

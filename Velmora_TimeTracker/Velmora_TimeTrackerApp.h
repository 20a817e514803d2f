#pragma once

#include "LinuxPlatform.h"
#include "LoginModel.h"
#include "MainWindow.h"
#include "PopoverModel.h"
#include "QtDesktop.h"
#include "ThemeManager.h"
#include "TimeTrackerCore.h"
#include "TrackerModel.h"
#include "VRImages.h"

class SingleInstance;

/// The composition root: everything that the program consists of, built once in boot order and handed by
/// reference to those that use it. Lives on the main thread from after the QApplication to the end of the
/// process.
class Velmora_TimeTrackerApp {
public:
    explicit Velmora_TimeTrackerApp(SingleInstance& instance);
    ~Velmora_TimeTrackerApp();
    Velmora_TimeTrackerApp(const Velmora_TimeTrackerApp&) = delete;
    Velmora_TimeTrackerApp& operator=(const Velmora_TimeTrackerApp&) = delete;

private:
    void wire(SingleInstance& instance);

    QtDesktop desktop_;
    LinuxPlatform linux_;
    const Platform platform_;
    ThemeManager theme_;
    VRImages images_;
    TimeTrackerCore core_;
    LoginModel login_;
    PopoverModel root_;
    TrackerModel tracker_;
    MainWindow window_;
};

#include "Velmora_TimeTrackerApp.h"
#include "platform/linux/base/CoreFiles.h"
#include "platform/linux/base/LinuxApplicationInfo.h"
#include "shell/control/SingleInstance.h"

#include <QApplication>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// Qt aborts without a display: print one line and exit instead.
void endWithoutDisplay(QtMsgType type, const QMessageLogContext&, const QString&) {
    if (type != QtFatalMsg)
        return;
    std::fputs("velmora-timetracker: no display answers; start it from within a desktop session (Wayland without "
               "X needs the package qt6-wayland)\n",
               stderr);
    _exit(EXIT_FAILURE);
}

/// Disables OpenGL and the desktop's widget theme: the program paints its own controls, and both cost memory.
void keepQtSmall() {
    qputenv("QT_XCB_GL_INTEGRATION", "none");
    qputenv("QT_QPA_PLATFORMTHEME", "generic");
    QApplication::setStyle(u"Fusion"_s);
}

void nameApplication() {
    QApplication::setApplicationName(u"velmora-timetracker"_s);
    QApplication::setApplicationDisplayName(u"Velmora TimeTracker"_s);
    QApplication::setDesktopFileName(u"velmora-timetracker"_s);
    QApplication::setQuitOnLastWindowClosed(false);
}

} // namespace

int main(int argc, char** argv) {
    // Independent of the user's umask: all files of this program are private.
    umask(077);
    forbidCoreFiles();
    if (argc > 1) {
        std::fputs("velmora-timetracker: takes no arguments\n", stderr);
        return 2;
    }
    keepQtSmall();
    nameApplication();
    const QtMessageHandler usual = qInstallMessageHandler(endWithoutDisplay);
    QApplication application(argc, argv);
    qInstallMessageHandler(usual);

    const auto instance = SingleInstance::acquire(LinuxApplicationInfo().configurationFolder());
    if (!instance)
        return EXIT_SUCCESS;
    const Velmora_TimeTrackerApp app(*instance);
    return application.exec();
}

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

/// Qt aborts when no display answers; a person is better served by a line and an exit status.
void endWithoutDisplay(QtMsgType type, const QMessageLogContext&, const QString&) {
    if (type != QtFatalMsg)
        return;
    std::fputs("velmora-timetracker: no display answers; start it from within a desktop session (Wayland without "
               "X needs the package qt6-wayland)\n",
               stderr);
    _exit(EXIT_FAILURE);
}

/// This program paints itself: neither OpenGL nor a desktop's widget theme is worth their memory.
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
    // Whatever the user's setting: nobody else reads what this program writes.
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

#include "platform/linux/LinuxPermissions.h"

#include "platform/linux/X11DisplaySource.h"
#include "platform/linux/X11InputListener.h"

#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <algorithm>
#include <array>

namespace {

struct SettingsProgram {
    QLatin1String desktop; ///< As in XDG_CURRENT_DESKTOP.
    QLatin1String program;
    QStringList arguments;
};

/// The desktop's own program first, else any other that is installed.
void openSettings() {
    std::array programs{
        SettingsProgram{
            QLatin1String("GNOME"), QLatin1String("gnome-control-center"), {QStringLiteral("privacy")}},
        SettingsProgram{QLatin1String("KDE"), QLatin1String("systemsettings"), {}},
        SettingsProgram{QLatin1String("XFCE"), QLatin1String("xfce4-settings-manager"), {}},
        SettingsProgram{QLatin1String("MATE"), QLatin1String("mate-control-center"), {}},
        SettingsProgram{QLatin1String("X-Cinnamon"), QLatin1String("cinnamon-settings"), {}},
        SettingsProgram{QLatin1String("LXQt"), QLatin1String("lxqt-config"), {}},
    };
    const QStringList desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(QLatin1Char(':'));
    std::stable_partition(programs.begin(), programs.end(), [&](const SettingsProgram& each) {
        return desktops.contains(each.desktop, Qt::CaseInsensitive);
    });
    for (const auto& each : programs) {
        const QString path = QStandardPaths::findExecutable(each.program);
        if (!path.isEmpty() && QProcess::startDetached(path, each.arguments))
            return;
    }
}

} // namespace

bool LinuxPermissions::canRecordScreen() {
    return displays_.isPermitted();
}

int LinuxPermissions::inputMonitoringStatus() {
    return input_.isDenied() ? 1 : 0;
}

bool LinuxPermissions::requestInputMonitoring() {
    return !input_.isDenied();
}

void LinuxPermissions::openScreenRecordingSettings() {
    openSettings();
}

void LinuxPermissions::openInputMonitoringSettings() {
    openSettings();
}

#include "platform/linux/LinuxPermissions.h"

#include "platform/linux/X11DisplaySource.h"
#include "platform/linux/X11InputListener.h"

#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

struct SettingsProgram {
    QLatin1String desktop; ///< As in XDG_CURRENT_DESKTOP.
    QLatin1String program;
    QStringList arguments;
};

/// The desktop's own program first, else any other that is installed.
void openSettings() {
    std::array programs{
        SettingsProgram{"GNOME"_L1, "gnome-control-center"_L1, {u"privacy"_s}},
        SettingsProgram{"KDE"_L1, "systemsettings"_L1, {}},
        SettingsProgram{"XFCE"_L1, "xfce4-settings-manager"_L1, {}},
        SettingsProgram{"MATE"_L1, "mate-control-center"_L1, {}},
        SettingsProgram{"X-Cinnamon"_L1, "cinnamon-settings"_L1, {}},
        SettingsProgram{"LXQt"_L1, "lxqt-config"_L1, {}},
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

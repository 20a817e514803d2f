#include "platform/linux/session/LinuxPermissions.h"

#include "platform/linux/base/InputRoad.h"
#include "platform/linux/base/PictureRoad.h"

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

/// Prefers the desktop's own program, else any other that is installed.
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

/// Empty when the road is available.
template <typename Road>
QString whyNot(Road& road) {
    const Availability availability = road.probe();
    const auto* unavailable = std::get_if<Unavailable>(&availability);
    return unavailable ? unavailable->why : QString();
}

} // namespace

bool LinuxPermissions::canRecordScreen() {
    return whyNot(pictures_).isEmpty();
}

int LinuxPermissions::inputMonitoringStatus() {
    return whyNot(input_).isEmpty() ? 0 : 1;
}

bool LinuxPermissions::requestInputMonitoring() {
    return whyNot(input_).isEmpty();
}

QString LinuxPermissions::explanation() {
    QStringList reasons{whyNot(pictures_), whyNot(input_)};
    reasons.removeAll(QString());
    reasons.removeDuplicates();
    return reasons.join(u' ');
}

void LinuxPermissions::openScreenRecordingSettings() {
    openSettings();
}

void LinuxPermissions::openInputMonitoringSettings() {
    openSettings();
}

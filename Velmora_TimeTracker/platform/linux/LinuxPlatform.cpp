#include "platform/linux/LinuxPlatform.h"

#include "platform/linux/base/JsonPreferenceStore.h"
#include "platform/linux/base/LinuxApplicationInfo.h"
#include "platform/linux/base/LinuxClock.h"
#include "platform/linux/base/LinuxRandom.h"
#include "platform/linux/base/QtExecutor.h"
#include "platform/linux/bus/LibsecretStore.h"
#include "platform/linux/bus/LinuxPowerEvents.h"
#include "platform/linux/network/LinuxPathMonitor.h"
#include "platform/linux/network/LinuxURLSession.h"
#include "platform/linux/session/LinuxPermissions.h"
#include "platform/linux/session/Roads.h"

struct LinuxPlatform::Parts {
    LinuxApplicationInfo information;
    LinuxClock clock;
    LinuxRandom random;

    MainExecutor main;
    ThreadExecutor worker{"com.velmora.timetracker.worker"};
    ThreadExecutor screenCapture{"com.velmora.timetracker.screencapture"};
    ThreadExecutor utility{"com.velmora.timetracker.utility"};
    ThreadExecutor idle{"com.velmora.timetracker.idle"};
    ThreadExecutor watchdog{"com.velmora.timetracker.watchdog"};
    ThreadExecutor userInitiated{"com.velmora.timetracker.userinitiated"};

    LinuxURLSession urlSession{information.userAgent()};
    JsonPreferenceStore preferences{information.configurationFolder() + "/preferences.json", clock};
    LibsecretStore secrets;

    Roads roads = roadsOf(currentSessionKind());
    LinuxPermissions permissions{*roads.input, *roads.pictures};

    QDBusConnection systemBus = QDBusConnection::systemBus();
    LinuxPowerEvents power{main, systemBus};
    LinuxPathMonitor path{systemBus};
};

LinuxPlatform::LinuxPlatform()
    : parts_(std::make_unique<Parts>()) {}

LinuxPlatform::~LinuxPlatform() {
    stop();
}

Platform LinuxPlatform::platform(Desktop& desktop) {
    Parts& p = *parts_;
    return {
        .clock = p.clock,
        .random = p.random,
        .main = p.main,
        .worker = p.worker,
        .screenCapture = p.screenCapture,
        .utility = p.utility,
        .idle = p.idle,
        .watchdog = p.watchdog,
        .userInitiated = p.userInitiated,
        .urlSession = p.urlSession,
        .preferences = p.preferences,
        .secrets = p.secrets,
        .inputEvents = *p.roads.input,
        .idleTime = *p.roads.idleTime,
        .displays = *p.roads.pictures,
        .permissions = p.permissions,
        .power = p.power,
        .path = p.path,
        .desktop = desktop,
        .information = p.information,
    };
}

void LinuxPlatform::sessionIsEnding() {
    parts_->power.sessionIsEnding();
}

void LinuxPlatform::stop() {
    // Ends first what a thread may be waiting for. The worker ends before the network, so that an upload interrupted
    // by the end of the program does not count as failed.
    parts_->secrets.cancel();
    parts_->worker.stop();
    parts_->urlSession.stop();
    for (ThreadExecutor* executor :
         {&parts_->screenCapture, &parts_->utility, &parts_->idle, &parts_->watchdog, &parts_->userInitiated})
        executor->stop();
}

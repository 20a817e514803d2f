#pragma once

#include "platform/ApplicationInfo.h"
#include "platform/Clock.h"
#include "platform/Desktop.h"
#include "platform/DisplaySource.h"
#include "platform/Executor.h"
#include "platform/IdleTimeSource.h"
#include "platform/InputEventSource.h"
#include "platform/PathMonitor.h"
#include "platform/Permissions.h"
#include "platform/PowerEvents.h"
#include "platform/PreferenceStore.h"
#include "platform/Random.h"
#include "platform/SecretStore.h"
#include "platform/URLSession.h"

/// All services of the operating system that the program uses; the composition root passes them down. All outlive the
/// program's objects.
struct Platform {
    Clock& clock;
    Random& random;
    Executor& main;
    Executor& worker;        ///< The serial workers: uploads, authentication, configuration.
    Executor& screenCapture; ///< "com.velmora.timetracker.screencapture"
    Executor& utility;       ///< Capture cycles.
    Executor& idle;          ///< The idle detector, which must not wait for a capture.
    Executor& watchdog;      ///< "com.velmora.timetracker.watchdog"
    Executor& userInitiated; ///< Work that the user waits for: the launch read of the keyring, summaries.
    URLSession& urlSession;
    PreferenceStore& preferences;
    SecretStore& secrets;
    InputEventSource& inputEvents;
    IdleTimeSource& idleTime;
    DisplaySource& displays;
    Permissions& permissions;
    PowerEvents& power;
    PathMonitor& path;
    Desktop& desktop;
    ApplicationInfo& information;
};

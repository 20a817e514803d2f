#pragma once

#include "ApplicationInfo.h"
#include "Clock.h"
#include "Desktop.h"
#include "DisplaySource.h"
#include "Executor.h"
#include "IdleTimeSource.h"
#include "InputEventSource.h"
#include "PathMonitor.h"
#include "Permissions.h"
#include "PowerEvents.h"
#include "PreferenceStore.h"
#include "Random.h"
#include "SecretStore.h"
#include "URLSession.h"

/// Everything that the program asks of the operating system, as one bundle of references handed down by the
/// composition root. All outlive the program built on them.
struct Platform {
    Clock& clock;
    Random& random;
    Executor& main;
    Executor& worker;        ///< The serial workers: uploads, authentication, configuration.
    Executor& screenCapture; ///< "com.velmora.timetracker.screencapture"
    Executor& utility;       ///< Capture cycles.
    Executor& idle;          ///< The idle watcher, which never waits behind a capture.
    Executor& watchdog;      ///< "com.velmora.timetracker.watchdog"
    Executor& userInitiated; ///< What a person waits for: the launch read of the secret store, summaries.
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

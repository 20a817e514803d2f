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

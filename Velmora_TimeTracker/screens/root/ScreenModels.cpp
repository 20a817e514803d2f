#include "screens/root/ScreenModels.h"

#include "application/TimeTrackerCore.h"

ScreenModels::ScreenModels(TimeTrackerCore& core)
    : login({core.auth, core.remoteConfig, core.domain, core.appState, core.company, core.platform.preferences,
             core.platform.desktop, core.platform.main})
    , restore({core.appState, core.storedSignIn})
    , forcedUpdate({core.appState, core.platform.desktop})
    , permission({core.appState, core.permissions})
    , interruptedSession({core.sessionManager, core.platform.clock})
    , root({core.appState, core.sessionManager})
    , tracker({core.sessionManager, core.appState, core.remoteConfig, core.company, core.permissions,
               core.platform.preferences, core.platform.random, core.platform.main}) {}

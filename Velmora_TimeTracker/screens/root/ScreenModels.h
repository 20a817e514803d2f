#pragma once

#include "screens/gates/ForcedUpdateModel.h"
#include "screens/gates/InterruptedSessionModel.h"
#include "screens/gates/PermissionModel.h"
#include "screens/gates/RestoreModel.h"
#include "screens/root/PopoverModel.h"
#include "screens/signin/LoginModel.h"
#include "screens/tracker/TrackerModel.h"

class TimeTrackerCore;

/// The model of every screen, each given the parts of the core that it needs. One instance, so that what was entered and
/// what is under way outlive the views. Main thread; the core outlives it.
struct ScreenModels {
    explicit ScreenModels(TimeTrackerCore& core);

    LoginModel login;
    RestoreModel restore;
    ForcedUpdateModel forcedUpdate;
    PermissionModel permission;
    InterruptedSessionModel interruptedSession;
    PopoverModel root;
    TrackerModel tracker;
};

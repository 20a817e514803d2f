#pragma once

#include "platform/Task.h"

class AppStateManager;
class Desktop;
class SessionManager;

/// The update check of the menu: fetches the configuration and shows the result in an alert.
Task<> checkForUpdatesFromMenu(AppStateManager& appState, SessionManager& sessionManager, Desktop& desktop);

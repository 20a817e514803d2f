#pragma once

#include "platform/Task.h"

class AppStateManager;
class Desktop;
class SessionManager;

/// The manual update check of the menu: asks the server and tells the outcome in an alert.
Task<> checkForUpdatesFromMenu(AppStateManager& appState, SessionManager& sessionManager, Desktop& desktop);

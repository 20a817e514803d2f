#include "AppStateManager.h"

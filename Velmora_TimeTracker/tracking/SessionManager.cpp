#include "SessionManager.h"

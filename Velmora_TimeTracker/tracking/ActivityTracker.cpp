#include "ActivityTracker.h"

#include "TimeTrackerCore.h"

#include "MainThreadWatchdog.h"

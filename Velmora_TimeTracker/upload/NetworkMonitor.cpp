#include "NetworkMonitor.h"

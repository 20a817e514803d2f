#include "TrackingHeartbeat.h"

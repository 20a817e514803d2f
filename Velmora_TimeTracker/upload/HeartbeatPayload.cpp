#include "HeartbeatPayload.h"

#include "TrackingEndpointResponse.h"

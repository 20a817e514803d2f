#include "APITimeZoneResolver.h"

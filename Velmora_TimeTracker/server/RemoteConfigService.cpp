#include "RemoteConfigService.h"

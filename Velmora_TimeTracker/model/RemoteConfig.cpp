#include "RemoteConfig.h"

#include "AppVersion.h"

#include "PermissionService.h"

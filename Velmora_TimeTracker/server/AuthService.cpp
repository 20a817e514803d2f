#include "AuthService.h"

#include "AuthTokens.h"

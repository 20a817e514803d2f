#include "APIError.h"

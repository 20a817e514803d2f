#include "APIEndpoints.h"

#include "RetryManager.h"

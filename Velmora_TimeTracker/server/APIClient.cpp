#include "APIClient.h"

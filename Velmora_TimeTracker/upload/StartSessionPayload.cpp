#include "StartSessionPayload.h"

#include "ISO8601.h"

#include "IdleDetector.h"

#include "SegmentClockService.h"

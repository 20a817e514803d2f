#include "SegmentUtils.h"

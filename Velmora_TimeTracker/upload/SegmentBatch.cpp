#include "SegmentBatch.h"

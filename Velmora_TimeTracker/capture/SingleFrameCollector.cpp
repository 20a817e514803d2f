#include "SingleFrameCollector.h"

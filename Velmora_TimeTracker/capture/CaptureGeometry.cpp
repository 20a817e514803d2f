#include "CaptureGeometry.h"

#include "CaptureFolder.h"

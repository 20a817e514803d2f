#include "ScreenCaptureService.h"

#include "ScreenshotFiles.h"

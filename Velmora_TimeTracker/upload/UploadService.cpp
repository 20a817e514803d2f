#include "UploadService.h"

#include "UploadTask.h"

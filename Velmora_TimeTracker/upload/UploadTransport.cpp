#include "UploadTransport.h"

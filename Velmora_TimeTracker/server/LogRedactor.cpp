#include "LogRedactor.h"

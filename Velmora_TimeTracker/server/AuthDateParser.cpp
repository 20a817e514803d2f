#include "AuthDateParser.h"

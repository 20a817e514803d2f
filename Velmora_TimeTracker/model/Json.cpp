#include "Json.h"

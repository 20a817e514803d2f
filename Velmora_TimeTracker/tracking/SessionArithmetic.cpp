#include "SessionArithmetic.h"

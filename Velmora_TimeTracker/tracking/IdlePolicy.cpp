#include "IdlePolicy.h"

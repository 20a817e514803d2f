#include "UpdateCheck.h"

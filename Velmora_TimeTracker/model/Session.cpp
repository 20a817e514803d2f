#include "Session.h"

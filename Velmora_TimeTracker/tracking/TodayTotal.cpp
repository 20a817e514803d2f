#include "TodayTotal.h"

#include "PreferenceStores.h"

#include "SQLiteStore.h"

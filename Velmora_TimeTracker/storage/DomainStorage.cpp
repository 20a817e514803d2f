#include "DomainStorage.h"

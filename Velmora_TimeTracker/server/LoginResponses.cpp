#include "LoginResponses.h"

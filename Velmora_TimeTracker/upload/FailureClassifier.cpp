#include "FailureClassifier.h"

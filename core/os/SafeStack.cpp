#include "core/os/SafeStack.h"

void InitZorvexSafeStack() {}

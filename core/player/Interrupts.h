// A lock of the whole process, for code that once kept interrupts away.
#pragma once

#include "core/base/KyTypes.h"

/// Makes the lock; the first InterruptsOff() does it too.
KY_API void InterruptsInit();

/// Takes the lock, which its holder may take again.
///
/// Returns:  0, for InterruptsOn().
KY_API ULong InterruptsOff();
/// Gives it back. `state` is ignored.
KY_API void InterruptsOn(Long state);

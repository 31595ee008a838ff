// Monotonic and local time, and a sleep that tests can take over.
#pragma once

#include <ctime>

#include "core/base/KyTypes.h"

/// Returns:  microseconds since the library was loaded; never runs backwards.
KY_API Int64 KyMicroseconds();

namespace ky::platform {

/// Sleeps the calling thread.
KY_API void sleepFor(Int64 milliseconds);

/// Seconds since 1970.
KY_API Int64 wallSeconds();

/// The local date and time of `seconds` since 1970.
KY_API std::tm localTime(Int64 seconds);

/// What stands in for the system's clock and sleep; a null routine means the system's own.
struct ClockHooks {
  Int64 (*microseconds)() = nullptr;
  void (*sleep)(Int64 milliseconds) = nullptr;
};

/// Tells whether a hook sleeps; waits with a limit then sleep by it and count as late, unless they were served
/// meanwhile.
KY_API bool isSleepHooked();

/// Returns:  the hooks that were in force.
KY_API ClockHooks setClockHooks(const ClockHooks& hooks);

}  // namespace ky::platform

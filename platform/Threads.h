// Identity and end of operating-system threads.
#pragma once

#include "core/base/KyTypes.h"

namespace ky::platform {

/// The operating system's number for the calling thread, kept after the first call.
KY_API ULong currentThreadId();

/// What identifies a thread to the operating system's own calls.
struct ThreadHandle {
  UInt64 value = 0;
};

/// Returns:  false if the system gives no handle.
bool currentThreadHandle(ThreadHandle& handle);

/// Runs `routine` at the end of the calling thread, behind the destructors of its thread-local objects, latest first. A
/// routine may ask for another. None runs for the thread in which the process exits.
KY_API void atThreadExit(void (*routine)(void* argument), void* argument);

}  // namespace ky::platform

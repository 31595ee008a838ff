// Output to a debugger, and a stop in it.
#pragma once

#include "core/base/KyTypes.h"

namespace ky::platform {

typedef void (*DebugSink)(const char* text);

/// Writes `text` to the debug output: the standard error stream, unless a sink stands in for it.
KY_API void debugOutput(const char* text);

/// Returns:  the sink that was in force; null stands for the standard error stream.
KY_API DebugSink setDebugSink(DebugSink sink);

typedef void (*BreakHook)();

/// Stops in the debugger if one is attached, else does nothing; a hook stands in for both.
KY_API void debugBreak();

/// Returns:  the hook that was in force, null for none.
KY_API BreakHook setBreakHook(BreakHook hook);

}  // namespace ky::platform

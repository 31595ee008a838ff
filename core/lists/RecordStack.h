// A stack of fixed-size records in a handle.
#pragma once

#include "core/base/KyTypes.h"

/// Head of the block; the records follow, the oldest first.
struct stackHdr {
  Long recordSize = 0;
  Long count = 0;
  Long capacity = 0;
};

/// Returns:  an empty stack, which the caller ends by KyDisposeHandle().
/// Units:    `recordSize` in bytes. The stack grows by 16 records at a time.
/// Requires: "recordSize > 0".
/// Raises:   MEM_OUT_OF_MEMORY.
KY_API stackHdr** NewStack(Long recordSize);

/// Raises:   MEM_OUT_OF_MEMORY, with the stack as it was.
/// Borrows:  `record` for the call; it does not lie in the stack.
KY_API void PushRecord(stackHdr** stack, const void* record);

/// Requires: "count > 0"; `record` stays as it is if there is none.
KY_API void PopRecord(stackHdr** stack, void* record);

// The freed-object trap.
#pragma once

#include "core/base/KyTypes.h"

/// Builds the one trap object and hands the address of its table to the sub-allocator, for whoever stamps freed blocks
/// with it. A virtual call through a stamped block ends in a fatal that names the block.
KY_API void InitBogusObject();

namespace ky {

/// The trap's table, for an allocator that stamps what it takes back.
KY_API void* bogusTable();

}  // namespace ky

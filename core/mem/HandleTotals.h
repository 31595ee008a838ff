// Counts of the toolbox's real handles; fake ones count as pointers.
#pragma once

#include "core/base/KyTypes.h"

namespace ky {

/// Guarded by the memory mutex.
struct HandleTotals {
  Int64 totalHdl = 0;
  Int64 numHdls = 0;
};
HandleTotals& handleTotals();

}  // namespace ky

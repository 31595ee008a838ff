// Pointer blocks for the memory manager's own files, with the trace that clients' blocks have.
#pragma once

#include "core/mem/MemoryTracer.h"
#include "core/mem/PtrBlocks.h"

namespace ky {

/// KyNewPtr(), without the detour of an exported name.
inline void* newPtr(Long size) {
  void* const p = newPtrUntraced(size);
  if (allocationWatch.traced()) [[unlikely]]
    KySlotAdd(p, size, 0);
  return p;
}

/// KyDisposePtr(), likewise.
inline void disposePtr(void* p) {
  if (allocationWatch.freesWatched()) [[unlikely]]
    KySlotRemove(p);
  disposePtrUntraced(p);
}

}  // namespace ky

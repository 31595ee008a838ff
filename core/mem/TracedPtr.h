// Pointer blocks for the memory manager's own files, with the trace that clients' blocks have.
#pragma once

#include <cstring>

#include "core/mem/MemoryTracer.h"
#include "core/mem/PtrBlocks.h"

namespace ky {

inline constexpr Long kMostClearedHere = 192;

/// KyNewPtr() on the long way.
void* newPtrSlowly(Long size);

/// KyNewPtr(), without the detour of an exported name.
inline void* newPtr(Long size) {
  void* const p = newPtrAtHand(size);
  return p ? p : newPtrSlowly(size);
}

/// KyNewPtrClear(), likewise. Most objects have a few dozen bytes, for which a call would cost more than the clearing;
/// a small block ends on a whole unit, so that units can be cleared.
inline void* newPtrClear(Long size) {
  void* const p = newPtr(size);
  if (isSmallPtr(size) && size <= kMostClearedHere) [[likely]] {
    char* const end = static_cast<char*>(p) + size;
    for (char* at = static_cast<char*>(p); at < end; at += kBlockUnit) std::memset(at, 0, kBlockUnit);
  } else {
    std::memset(p, 0, static_cast<std::size_t>(size));
  }
  return p;
}

/// KyDisposePtr(), likewise.
inline void disposePtr(void* p) {
  if (allocationWatch.freesWatched()) [[unlikely]]
    KySlotRemove(p);
  disposePtrUntraced(p);
}

}  // namespace ky

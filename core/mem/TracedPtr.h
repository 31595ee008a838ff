// Pointer blocks for the memory manager's own files, with the trace that clients' blocks have.
#pragma once

#include <cstring>

#include "core/mem/MemoryTracer.h"
#include "core/mem/PtrBlocks.h"

namespace ky {

/// KyNewPtr() on the long way; a trace leaves out `skip` frames beyond this one.
void* newPtrSlowly(Long size, short skip);

/// Stands behind the call of a long way, so that the caller, which a trace names first, is still there.
[[gnu::always_inline]] inline void keepFrame() { asm volatile("" ::: "memory"); }

/// KyNewPtr(), without the detour of an exported name.
inline void* newPtr(Long size) {
  void* p = newPtrAtHand(size);
  if (!p) [[unlikely]] {
    p = newPtrSlowly(size, 0);
    keepFrame();
  }
  return p;
}

/// Clears whole units. Most objects have a few dozen bytes, for which a call, or a turn of a loop for each unit, would
/// cost more than the clearing.
inline void clearUnits(char* at, std::size_t units) {
  constexpr std::size_t kStride = 4 * kBlockUnit;
  char* const end = at + units * kBlockUnit;
  if (units < 4) {
    for (; at != end; at += kBlockUnit) std::memset(at, 0, kBlockUnit);
    return;
  }
  for (; end - at >= std::ptrdiff_t(kStride); at += kStride) std::memset(at, 0, kStride);
  std::memset(end - kStride, 0, kStride);
}

/// KyNewPtrClear() on the long way.
void* newPtrClearSlowly(Long size);

/// KyNewPtrClear(), likewise. A small block ends on a whole unit, so that units can be cleared.
inline void* newPtrClear(Long size) {
  void* p = newPtrAtHand(size);
  if (!p) [[unlikely]] {
    p = newPtrClearSlowly(size);
    keepFrame();
    return p;
  }
  clearUnits(static_cast<char*>(p), shelfFor(static_cast<std::size_t>(size)));
  return p;
}

/// The block of an object. The memory manager refuses a negative size as it refuses one that it cannot find.
inline void* newObjectBlock(std::size_t size) {
  return newPtrClear(size > std::size_t{0x7FFFFFFF} ? -1 : static_cast<Long>(size));
}

/// KyDisposePtr(), likewise.
inline void disposePtr(void* p) {
  if (allocationWatch.freesWatched()) [[unlikely]]
    KySlotRemove(p);
  disposePtrUntraced(p);
}

}  // namespace ky

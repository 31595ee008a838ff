// Pointer blocks that know their size, totals of what is allocated, start of the memory manager, system memory.
#pragma once

#include "core/base/KyTypes.h"

// ---- start and end

/// Starts the memory manager: handles need it, pointers do not. A second call does nothing.
///
/// Raises:   DMP_TABLE_FULL, with nothing started.
KY_API void KyMemInit();
/// Ends what KyMemInit() began, as far as handles allow; without it does nothing.
KY_API void KyMemCleanup();

// ---- pointer blocks: aligned to 16 bytes, their size in the word ahead of the address

/// Never returns null.
///
/// Raises:   MEM_OUT_OF_MEMORY, also for a negative size.
KY_API void* KyNewPtr(Long size);
/// KyNewPtr(), zero-filled.
KY_API void* KyNewPtrClear(Long size);
/// KyNewPtr(maxSze); the rest is ignored.
///
/// Requires: "maxSze > 0".
KY_API void* KyNewMaxPtr(Long maxSze, Long minSize, Long step);
/// Takes no null.
KY_API void KyDisposePtr(void* ptr);
/// Takes no null.
///
/// Returns:  the caller's bytes.
KY_API Long KyGetPtrSize(const void* ptr);
/// Resizes `*ptr`, keeping contents; a null `*ptr` is made new.
///
/// Requires: "ptr != NULL".
/// Raises:   MEM_OUT_OF_MEMORY, with the block as it was.
KY_API void KyReallocPtr(void** ptr, Long size);
/// Replaces `*ptr` by a fresh copy of its block; the one before stays with whoever else knows it.
///
/// Requires: "ptr != NULL" (`*ptr` is not null), as KyCopyPtr().
/// Raises:   MEM_OUT_OF_MEMORY, as KyCopyPtr() does.
KY_API void KyPtrToPtr(char** ptr);
KY_API void* KyCopyPtr(const void* ptr);

KY_API void* KyAllocate(Long size);
KY_API void* KyAllocateClear(Long size);
/// Requires: "p != NULL".
KY_API void KyDispose(void* p);
/// Requires: "p != NULL".
KY_API void* KyCopy(const void* p);
/// Requires: "p != NULL".
KY_API Long KySize(const void* p);

// ---- bytes in place

/// Fills with the low byte of `value`.
KY_API void KySetBlock(char* p, Long count, Long value);
KY_API void KyClearBlock(char* p, Long count);
/// Overlap-safe. The source comes first.
KY_API void BLOCKMOVE(const void* from, void* to, Long count);
/// Reverses the bytes of each of `count` elements.
KY_API void KyInplace32bitReordering(ULong* const p, Long count);
KY_API void KyInplace16bitReordering(unsigned short* const p, Long count);

// ---- system memory; figures above 0x7FFFFFFF are given as that

/// Returns:  free virtual address space.
KY_API Long KyFreeMem();
/// Returns:  free virtual address space.
KY_API Long KyMaxBlock();
/// Returns:  free physical memory.
KY_API Long KyFreeMemPhysical();
/// Returns:  the size of the virtual address space.
KY_API Long KyGetHeapSize();

// ---- low memory: a threshold and a mode that clients share; nothing is ever low here

enum lowMemMode_t { lowMemNormal = 0, lowMemTight = 1 };

/// Raises the threshold; never lowers it.
KY_API void RegLowMemThreshold(Long threshold);
KY_API Long GetLowMemThreshold();
/// Returns:  the mode before.
KY_API lowMemMode_t SwapLowMemMode(lowMemMode_t mode);
/// Returns:  false.
KY_API Boolean IsMemoryBelowThresh();

// ---- totals and reports

/// Zeroes the totals and forgets all trace records.
KY_API void KyMemClearTotals();
/// Prints the "Memory" dump and the system's figures through dprintf.
KY_API void KyMemPrintStats();
/// Prints totals and counts, then a line per traced block, newest first.
KY_API void KySlotsPrintState(KyPrint print);
/// Prints totals and counts through dprintf.
KY_API void KySlotsPrintStats();

// ---- kept for clients of old; they do nothing

KY_API void KyPurgeMem(Long size);
KY_API void KyCompactMem();
KY_API void KyMemSetMoreMasterIncr(Long count);
KY_API void KyMemSetPayload(Long size);
KY_API void KyMemMoreMasters(Long count);
KY_API void KyMemSetGrowMemProc(void (*proc)(Long, Long*, unsigned char));
KY_API void KySetCheckHdlProc(unsigned char (*proc)(void*, Long), Long context);
KY_API void KyMemSLDisable();
KY_API void KyMemSLEnable();
/// Returns:  false.
KY_API Boolean KyMemReset();
/// Returns:  false.
KY_API Boolean IsPayloadDropped();

namespace ky {

/// What is allocated now. A fake handle's block counts as a pointer; the handle fields count real handles.
struct MemoryTotals {
  Int64 totalPtr = 0;
  Int64 numPtrs = 0;
  Int64 totalHdl = 0;
  Int64 numHdls = 0;
};
KY_API MemoryTotals memoryTotals();

/// While it stands, the calling thread's `nth` allocation from its making on fails, and no other: for tests of what
/// happens when memory runs out. `nth` counts from 1.
class KY_API AllocationFailure {
 public:
  explicit AllocationFailure(Long nth);
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;

  /// Returns:  true once the allocation was reached and failed.
  bool happened() const;
};

}  // namespace ky

#include "core/mem/KyMemory.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/DumpTable.h"
#include "core/error/Printing.h"
#include "core/mem/HandleTotals.h"
#include "core/mem/MemoryMutex.h"
#include "core/mem/TracedPtr.h"
#include "core/mem/ZorvexHandleMgr.h"
#include "platform/Memory.h"

using namespace ky;

namespace ky {

HandleTotals& handleTotals() {
  static constinit HandleTotals totals;
  return totals;
}

namespace {

// What the threads had counted when the totals were cleared. Guarded by the memory mutex.
constinit BlockTotals cleared;

std::atomic<Long> lowMemThreshold{0};
constinit lowMemMode_t lowMemMode = lowMemNormal;

bool started = false;
bool dumperInstalled = false;

}  // namespace

[[gnu::noinline]] void* newPtrSlowly(Long size, short skip) {
  void* const p = newPtrUntraced(size);
  if (allocationWatch.traced()) KySlotAdd(p, size, static_cast<short>(skip + 1));
  return p;
}

[[gnu::noinline]] void* newPtrClearSlowly(Long size) {
  return std::memset(newPtrSlowly(size, 1), 0, static_cast<std::size_t>(size));
}

MemoryTotals memoryTotals() {
  const MemoryTenure held;
  const BlockTotals counted = sumOfThreads();
  return {counted.bytes - cleared.bytes, counted.blocks - cleared.blocks, handleTotals().totalHdl,
          handleTotals().numHdls};
}

}  // namespace ky

// ---- start and end

static void printTotals(KyPrint print) {
  const MemoryTotals totals = memoryTotals();
  const auto [totalPtr, numPtrs, totalHdl, numHdls] = totals;
  print("numPtrs:      %05ld\n", static_cast<long>(numPtrs));
  print("numHdls:      %05ld\n", static_cast<long>(numHdls));
  print("totalPtr:     0x%08lx (%ld)\n", static_cast<unsigned long>(totalPtr), static_cast<long>(totalPtr));
  print("totalHdl:     0x%08lx (%ld)\n", static_cast<unsigned long>(totalHdl), static_cast<long>(totalHdl));
}

static void dumpMemory(KyPrint print) {
  print("\n");
  printTotals(print);
  if (DebugLocks() || DebugAllocs()) KySlotsPrintCounts(print);
}

void KyMemInit() {
  if (started) return;
  if (!dumperInstalled) DmpInstall(dumpMemory, "Memory", false);
  dumperInstalled = true;
  ZorvexHandleMgr::ZorvexHandleMgrInit();
  started = true;
}

// The memory mutex is a static object that threads may still use, and slots last as long as the process.
void KyMemCleanup() { started = false; }

// ---- pointer blocks

void* KyNewPtr(Long size) { return newPtr(size); }

void* KyNewPtrClear(Long size) { return newPtrClear(size); }

void* KyNewMaxPtr(Long maxSze, Long, Long) {
  check(maxSze > 0, "maxSze > 0");
  return newPtr(maxSze);
}

void KyDisposePtr(void* ptr) { disposePtr(ptr); }

Long KyGetPtrSize(const void* ptr) { return ptrHeader(ptr)->size; }

void KyReallocPtr(void** ptr, Long size) {
  if (!check(ptr != nullptr, "ptr != NULL")) return;
  if (!*ptr) {
    *ptr = newPtr(size);
    return;
  }
  void* const old = *ptr;
  *ptr = resizePtrUntraced(old, size);
  if (allocationWatch.freesWatched()) KySlotRemove(old);
  if (allocationWatch.traced()) KySlotAdd(*ptr, size, 0);
}

void* KyCopyPtr(const void* ptr) {
  if (!check(ptr != nullptr, "ptr != NULL")) return nullptr;
  const Long size = KyGetPtrSize(ptr);
  return std::memcpy(newPtr(size), ptr, static_cast<std::size_t>(size));
}

void KyPtrToPtr(char** ptr) { *ptr = static_cast<char*>(KyCopyPtr(*ptr)); }

void* KyAllocate(Long size) { return KyNewPtr(size); }

void* KyAllocateClear(Long size) { return newPtrClear(size); }

void KyDispose(void* p) {
  if (check(p != nullptr, "p != NULL")) disposePtr(p);
}

void* KyCopy(const void* p) { return check(p != nullptr, "p != NULL") ? KyCopyPtr(p) : nullptr; }

Long KySize(const void* p) { return check(p != nullptr, "p != NULL") ? KyGetPtrSize(p) : 0; }

// ---- bytes in place

void KySetBlock(char* p, Long count, Long value) {
  if (count > 0) std::memset(p, value & 0xFF, static_cast<std::size_t>(count));
}

void KyClearBlock(char* p, Long count) { KySetBlock(p, count, 0); }

void BLOCKMOVE(const void* from, void* to, Long count) {
  if (count > 0) std::memmove(to, from, static_cast<std::size_t>(count));
}

void KyInplace32bitReordering(ULong* const p, Long count) {
  for (Long i = 0; i < count; ++i) p[i] = __builtin_bswap32(p[i]);
}

void KyInplace16bitReordering(unsigned short* const p, Long count) {
  for (Long i = 0; i < count; ++i) p[i] = __builtin_bswap16(p[i]);
}

// ---- system memory

static Long clamped(UInt64 bytes) { return static_cast<Long>(std::min<UInt64>(bytes, 0x7FFFFFFF)); }

Long KyFreeMem() { return clamped(platform::memoryFacts().freeVirtual); }

Long KyMaxBlock() { return clamped(platform::memoryFacts().freeVirtual); }

Long KyFreeMemPhysical() { return clamped(platform::memoryFacts().freePhysical); }

Long KyGetHeapSize() { return clamped(platform::memoryFacts().totalVirtual); }

// ---- low memory

void RegLowMemThreshold(Long threshold) {
  if (threshold <= lowMemThreshold) return;
  const MemoryTenure held;
  if (threshold > lowMemThreshold) lowMemThreshold = threshold;
}

Long GetLowMemThreshold() { return lowMemThreshold; }

lowMemMode_t SwapLowMemMode(lowMemMode_t mode) {
  const MemoryTenure held;
  return std::exchange(lowMemMode, mode);
}

Boolean IsMemoryBelowThresh() { return false; }

// ---- totals and reports

void KyMemClearTotals() {
  {
    const MemoryTenure held;
    cleared = sumOfThreads();
    handleTotals() = {};
  }
  KySlotsDebugInit();
}

void KySlotsPrintState(KyPrint print) {
  print("\n");
  printTotals(print);
  KySlotsPrintCounts(print);
  printTraceRecords(print);
}

void KySlotsPrintStats() {
  printTotals(dprintf);
  KySlotsPrintCounts(dprintf);
}

static void printSystemMemory(KyPrint print) {
  const auto facts = platform::memoryFacts();
  const auto line = [print](auto text, UInt64 value) { print(text, static_cast<unsigned long>(value)); };
  line("\nMemory Load : %lu", facts.loadPercent);
  line("\nTotal Physical Mem : %lu", facts.totalPhysical);
  line("\nAvailable Physical Mem : %lu", facts.freePhysical);
  line("\nTotal Page File : %lu", facts.totalPageFile);
  line("\nAvailable Page File : %lu", facts.freePageFile);
  line("\nTotal Virtual Address Space : %lu", facts.totalVirtual);
  line("\nAvailable Virtual Address Space : %lu", facts.freeVirtual);
  if (facts.workingSetKnown) {
    line("\nProcess Minimum Working Set Size : %lu", facts.minWorkingSet);
    line("\nProcess Maximum Working Set Size : %lu", facts.maxWorkingSet);
  } else {
    print("\n Error Occured getting process working set size");
  }
}

void KyMemPrintStats() {
  dprintf("\n...KyMemStats...");
  dumpMemory(dprintf);
  dprintf("\n\n--- Win32 Virtual Memory Stats ---");
  printSystemMemory(dprintf);
  dprintf("\n--- -------------------------- ---");
}

// ---- kept for clients of old

void KyPurgeMem(Long) {}
void KyCompactMem() {}
void KyMemSetMoreMasterIncr(Long) {}
void KyMemSetPayload(Long) {}
void KyMemMoreMasters(Long) {}
void KyMemSetGrowMemProc(void (*)(Long, Long*, unsigned char)) {}
void KySetCheckHdlProc(unsigned char (*)(void*, Long), Long) {}
void KyMemSLDisable() {}
void KyMemSLEnable() {}

Boolean KyMemReset() { return false; }

Boolean IsPayloadDropped() { return false; }

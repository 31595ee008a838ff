#include "core/mem/AltMemory.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

#include "core/error/Assert.h"
#include "core/mem/AltHeap.h"
#include "core/mem/BiasedLock.h"
#include "core/mem/KyMemory.h"
#include "core/mem/TracedPtr.h"

using namespace ky;

namespace {

// Guards the heap, and favours who started it. What it finds broken is reported behind it, for reports may allocate.
constinit BiasedLock altMutex;
constinit AltHeap heap;
std::atomic<bool> initialised{false};

std::atomic<short> debugLevel{0};
// Kept for whoever stamps freed blocks with it; nothing here does.
std::atomic<void*> bogusVtable{nullptr};

constexpr int kTracedFramesSkipped = 4;

void report(AltFault fault) {
  check(fault != AltFault::notDead, "mblk && IS_DEAD_BLOCK(mblk)");
  if (fault == AltFault::onNoList) fatal("FtlAbort called.");
}

// A large block is a pointer block with the header word ahead of an address aligned to 8.
constexpr Long kLargeLead = 8;

void* takeLarge(Long size) {
  const Long real = altRealSize(size);
  char* const block = static_cast<char*>(newPtr(real + kLargeLead - kAltHeader)) + kLargeLead;
  *altHeader(block) = AltHeader::large(size);
  const BiasedTenure held(altMutex);
  heap.countLarge(real);
  return block;
}

void* takeSmall(Long size) {
  void* block = nullptr;
  auto fault = AltFault::none;
  bool full = false;
  {
    const BiasedTenure held(altMutex);
    block = heap.take(size);
    fault = heap.takeFault();
    full = !block && heap.isFull();
  }
  if (fault != AltFault::none) [[unlikely]]
    report(fault);
  if (!block) [[unlikely]] {
    check(!full, "gNumMblkSlots < MAX_MBLKS");
    raiseOutOfMemory();
  }
  return block;
}

// Apart from the short ways, so that these save no registers for them.
[[gnu::noinline]] void* mallocSlowly(Long size) {
  if (size < 0) return nullptr;
  if (!check(size < kAltSizeLimit, "sz < MAX_BLK_SIZE")) return nullptr;
  AltMemInit();
  void* const block = altIsSmall(size) ? takeSmall(size) : takeLarge(size);
  if (allocationWatch.traced()) [[unlikely]]
    KySlotAdd(block, size, kTracedFramesSkipped);
  return block;
}

[[gnu::noinline]] void freeSlowly(void* ptr) {
  AltMemInit();
  if (!ptr) return;
  if (allocationWatch.freesWatched()) [[unlikely]]
    KySlotRemove(ptr);
  const bool large = altHeader(ptr)->isLarge();
  {
    const BiasedTenure held(altMutex);
    large ? heap.uncountLarge() : heap.give(ptr);
  }
  if (large) disposePtr(static_cast<char*>(ptr) - kLargeLead);
}

}  // namespace

void AltMemInit() {
  if (initialised) return;
  AltTables tables = AltTables::make();
  {
    const std::lock_guard held(altMutex);
    if (!initialised) {
      heap.start(tables);
      altMutex.favourHolder();
      initialised = true;
      return;
    }
  }
  tables.dispose();  // another thread was first
}

void* AltMalloc(Long size) {
  if (!altIsSmall(size) || allocationWatch.watching() || !altMutex.enterFavoured()) [[unlikely]]
    return mallocSlowly(size);
  void* block = nullptr;
  {
    const FavouredScope<altMutex> held;
    block = heap.takeAtHand(size);
  }
  if (!block) [[unlikely]]
    return mallocSlowly(size);
  return block;
}

void* AltMallocClear(Long size) {
  void* const block = AltMalloc(size);
  if (block) std::memset(block, 0, static_cast<std::size_t>(size));
  return block;
}

void AltFree(void* ptr) {
  if (!ptr || altHeader(ptr)->isLarge() || allocationWatch.watching() || !altMutex.enterFavoured()) [[unlikely]]
    return freeSlowly(ptr);
  bool given = false;
  {
    const FavouredScope<altMutex> held;
    given = heap.giveAtHand(ptr);
  }
  if (!given) [[unlikely]]
    freeSlowly(ptr);
}

void* AltCopy(const void* ptr) {
  const Long size = AltGetBlockSize(ptr);
  return std::memcpy(AltMalloc(size), ptr, static_cast<std::size_t>(size));
}

Long AltGetBlockSize(const void* ptr) { return altHeader(ptr)->size; }

Long AltGetFreeBytes() {
  const BiasedTenure held(altMutex);
  return heap.counts().freeBytes;
}

Long AltGetTotalBytes() {
  const BiasedTenure held(altMutex);
  return heap.counts().totalBytes;
}

Long AltGetNumBlocks() {
  const BiasedTenure held(altMutex);
  return heap.counts().numBlocks;
}

Boolean AltIsInAltRange(const void* ptr) {
  const BiasedTenure held(altMutex);
  return heap.contains(ptr);
}

void AltFreshen() {
  auto fault = AltFault::none;
  {
    const BiasedTenure held(altMutex);
    heap.freshen();
    fault = heap.takeFault();
  }
  report(fault);
}

Long AltReturnMemToMac(Long bytes) {
  Long returned = 0;
  auto fault = AltFault::none;
  bool countHolds = true;
  {
    const BiasedTenure held(altMutex);
    returned = heap.returnMasters(bytes);
    fault = heap.takeFault();
    countHolds = heap.deadMasters() >= 0;
  }
  report(fault);
  check(countHolds, "gNumDeadMblks >= 0");
  return returned;
}

void AltSetDebugLevel(short level) { debugLevel = level; }

short AltGetDebugLevel() { return debugLevel; }

void AltSetBogusVtableValue(void* value) { bogusVtable = value; }

// ---- report

namespace {

struct Sum {
  long blocks = 0;
  long bytes = 0;
};

long percent(long part, long whole) { return whole == 0 ? 0 : static_cast<long>(Int64{part} * 100 / whole); }

void printSizes(KyPrint print, const std::vector<AltEntry>& entries, long limit) {
  print("   Only printing slots for which more than %ld blocks exist\n", limit);
  print("     n   numUsed   numFree  usedBytes   freeBytes\n");
  print("     -   -------   -------  ---------   ---------\n");
  for (const AltEntry& entry : entries) {
    const long used = entry.used;
    const long free = entry.free();
    if (used + free <= limit) continue;
    const long bytes = entry.size + kAltHeader;
    print("   % 4ld  % 6ld    % 6ld    % 8ld     % 8ld\n", static_cast<long>(entry.size), used, free, used * bytes,
          free * bytes);
  }
}

void printSums(KyPrint print, const std::vector<AltEntry>& entries) {
  Sum used;
  Sum free;
  for (const AltEntry& entry : entries) {
    const long bytes = entry.size + kAltHeader;
    used = {used.blocks + entry.used, used.bytes + entry.used * bytes};
    free = {free.blocks + entry.free(), free.bytes + entry.free() * bytes};
  }
  const long bytes = used.bytes + free.bytes;
  print("            Blocks       Bytes\n");
  print("            ------      -------\n");
  print("   Used    % 6ld       % 9ld (%ld%%)\n", used.blocks, used.bytes, percent(used.bytes, bytes));
  print("   Free    % 6ld       % 9ld (%ld%%)\n", free.blocks, free.bytes, percent(free.bytes, bytes));
  print("   Total   % 6ld       % 9ld\n", used.blocks + free.blocks, bytes);
}

void printMasters(KyPrint print, const std::vector<AltMasterRow>& masters) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"  // blanks do not matter to these kinds, and the layout is fixed
  constexpr char kHeads[] = "         % 7s      % 7s      % 7s      % 7s\n";
  constexpr char kRow[] = " %c % 3ld  % 7ld      % 7ld      % 7lx      % 7lx\n";
  print("  Master Blocks\n");
  print(kHeads, "numUsed", "numFree", "Start", "End");
  print(kHeads, "-------", "-------", "-----", "---");
  for (const AltMasterRow& row : masters) {
    const auto start = static_cast<unsigned long>(row.start);
    print(kRow, row.mark, static_cast<long>(row.slot), static_cast<long>(row.used), static_cast<long>(row.free), start,
          start + static_cast<unsigned long>(kAltMasterBytes));
  }
#pragma GCC diagnostic pop
}

}  // namespace

void AltPrintStats(KyPrint print, const char* options) {
  if (!initialised) AltMemInit();
  std::vector<AltEntry> entries;
  std::vector<AltMasterRow> masters;
  entries.reserve(kAltEntries);
  masters.reserve(kAltSlots);
  {
    const BiasedTenure held(altMutex);
    heap.describe(entries, masters);
  }
  printSizes(print, entries, options ? std::strtol(options, nullptr, 10) : 0);
  printSums(print, entries);
  printMasters(print, masters);
}

#include "core/mem/MemoryTracer.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/error/Printing.h"
#include "core/mem/MemoryMutex.h"
#include "core/mem/PtrBlocks.h"
#include "core/mem/Toolbox.h"
#include "platform/Stack.h"

using namespace ky;

namespace {

constexpr int kFrames = 5;
constexpr Long kRecords = 32768;

struct SlotRecord {
  SlotRecord* next = nullptr;
  SlotRecord* previous = nullptr;  // the only link in the free chain
  void* frames[kFrames] = {};
  void* address = nullptr;
  Long size = 0;
  Long sequence = 0;
};

// Guarded by the memory mutex.
struct Tracer {
  SlotRecord* pool = nullptr;
  SlotRecord* live = nullptr;
  SlotRecord* free = nullptr;
  Long slots = 0;
  Long hiWater = 0;
  Long slotNotFounds = 0;
  Long slotDonts = 0;
  Long slotRepeats = 0;
  Long sequence = 0;

  void begin();
  SlotRecord* find(const void* address) const;
  void record(void* address, Long size, void* const* frames);
  void forget(SlotRecord& record);
};

constinit Tracer tracer;
std::atomic<bool> debugLocks{false};
std::atomic<bool> debugAllocs{false};
void (*stackPrinter)(KyPrint print) = nullptr;  // guarded by the memory mutex

// The pool stays out of the trace, which could not record its own beginning.
void Tracer::begin() {
  if (!pool) pool = static_cast<SlotRecord*>(newPtrUntraced(kRecords * static_cast<Long>(sizeof(SlotRecord))));
  SlotRecord* const records = pool;
  *this = {};
  pool = records;
  for (Long i = kRecords - 1; i >= 0; --i) {
    pool[i] = {};
    pool[i].previous = free;
    free = &pool[i];
  }
}

SlotRecord* Tracer::find(const void* address) const {
  SlotRecord* record = live;
  while (record && record->address != address) record = record->next;
  return record;
}

void Tracer::record(void* address, Long size, void* const* frames) {
  SlotRecord& record = *free;
  free = record.previous;
  record = {live, nullptr, {}, address, size, ++sequence};
  std::copy_n(frames, kFrames, record.frames);
  if (live) live->previous = &record;
  live = &record;
  hiWater = std::max(hiWater, ++slots);
}

void Tracer::forget(SlotRecord& record) {
  (record.previous ? record.previous->next : live) = record.next;
  if (record.next) record.next->previous = record.previous;
  record.previous = free;
  free = &record;
  --slots;
}

// Fits the name into `width` characters: the start stays, and of the rest the tail, for that tells the method.
void shorten(char* out, std::size_t width, const char* name) {
  const std::size_t length = std::strlen(name);
  if (length <= width) {
    std::memcpy(out, name, length + 1);
    return;
  }
  const std::size_t start = (width - 2) / 2;
  const std::size_t tail = width - 2 - start;
  std::snprintf(out, width + 1, "%.*s..%s", static_cast<int>(start), name, name + length - tail);
}

void printFrame(KyPrint print, const void* frame) {
  constexpr std::size_t kWidth = 22;
  platform::AddressName name;
  // The address returned to may already belong to the next routine; the call before it does not.
  if (frame && platform::nameAddress(static_cast<const char*>(frame) - 1, name) && name.routine[0]) {
    char text[kWidth + 1];
    shorten(text, kWidth, name.routine);
    print("%-23s", text);
  } else {
    print("0x%08lX ", static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(frame)));
  }
}

}  // namespace

void KySlotAdd(void* address, Long size, short skip) {
  void* frames[kFrames] = {};
  platform::captureStack(frames, kFrames, skip);

  const MemoryTenure held;
  if (!tracer.free) {
    if (Toolbox* const box = tracer.pool ? toolbox() : nullptr) box->beep(5);
    KySlotsDebugInit();
  }
  if (tracer.find(address)) {
    ++tracer.slotRepeats;
    return;
  }
  tracer.record(address, size, frames);
}

void KySlotRemove(void* address) {
  const MemoryTenure held;
  if (SlotRecord* const record = tracer.find(address)) {
    tracer.forget(*record);
    return;
  }
  if (stackPrinter && debugLocks && !debugAllocs) stackPrinter(dprintf);
  ++tracer.slotNotFounds;
}

void KySlotDont() {
  const MemoryTenure held;
  ++tracer.slotDonts;
}

void KySlotsDebugInit() {
  const MemoryTenure held;
  tracer.begin();
}

void KySlotsPrintCounts(KyPrint print) {
  Tracer now;
  {
    const MemoryTenure held;
    now = tracer;
  }
  print("slots:        %05ld (hiWater=%05ld)\n", static_cast<long>(now.slots), static_cast<long>(now.hiWater));
  print("slotNotFounds:%05ld\n", static_cast<long>(now.slotNotFounds));
  print("slotDonts:    %05ld\n", static_cast<long>(now.slotDonts));
  print("slotRepeats:  %05ld\n", static_cast<long>(now.slotRepeats));
}

void KyHLockDebugToggle() {
  debugLocks = !debugLocks;
  if (debugLocks) KySlotsDebugInit();
  allocationWatch.flags ^= AllocationWatch::kFreesChecked;
  dprintf(debugLocks ? "KyHLock debugging gear is now on.\n" : "KyHLock debugging gear is now off.\n");
}

void KyAllocDebugToggle() {
  debugAllocs = !debugAllocs;
  if (debugAllocs) KySlotsDebugInit();
  {
    const MemoryTenure held;
    tracer.sequence = 0;
  }
  allocationWatch.flags ^= AllocationWatch::kTraced;
  dprintf(debugAllocs ? "Alloc debugging gear is now on.\n" : "Alloc debugging gear is now off.\n");
}

Boolean DebugLocks() { return debugLocks; }

Boolean DebugAllocs() { return debugAllocs; }

namespace ky {

// From a copy, for `print` may allocate and free.
void printTraceRecords(KyPrint print) {
  std::vector<SlotRecord> records;
  {
    const MemoryTenure held;
    for (const SlotRecord* record = tracer.live; record; record = record->next) records.push_back(*record);
  }
  for (const SlotRecord& record : records) {
    print("%08lx:%08lx  size: %08lx  ", static_cast<unsigned long>(record.sequence),
          static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(record.address)),
          static_cast<unsigned long>(record.size));
    for (const void* frame : record.frames) printFrame(print, frame);
    print("\n");
  }
}

void installStackPrinter(void (*printStack)(KyPrint print)) {
  const MemoryTenure held;
  stackPrinter = printStack;
}

}  // namespace ky

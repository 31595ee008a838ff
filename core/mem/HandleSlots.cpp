#include "core/mem/HandleSlots.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include "core/mem/SpinTenure.h"
#include "platform/Threads.h"

namespace ky {

constinit MasterBlockTable masterBlocks;
std::atomic<bool> cDbgForceUniqueHandles{false};
constinit thread_local ThreadSlots* tSlots = nullptr;

namespace {

constexpr ULong kBatch = ThreadSlots::kKept / 2;

// Guards the blocks' free lists, the chain, the list of threads and the statistics.
constinit SpinLock cHandleMgrMutex;
constinit ZorvexMasterPointerBlock* lastBlock = nullptr;
constinit RoomyBlocks roomy;
constinit ThreadSlots* firstThread = nullptr;
constinit ZorvexHandleMgrStats cDebugStats;
std::atomic<ZorvexMasterPointerBlock*> cFirstBlock{nullptr};  // there once the manager has started

// Below here, the lock is held.

ZorvexMasterPointerBlock* addBlock() {
  auto* const block = new ZorvexMasterPointerBlock(lastBlock, nullptr);
  if (!block) return nullptr;
  if (!masterBlocks.add(block)) {
    delete block;
    return nullptr;
  }
  lastBlock = block;
  roomy.add(*block);
  ++cDebugStats.NumMasterBlocks;
  return block;
}

void** takeFromFirst(void* content, SlotFailure& failure) {
  ZorvexMasterPointerBlock* const currentBlock = roomy.first() ? roomy.first() : addBlock();
  if (!currentBlock) {
    failure = SlotFailure::noMemory;
    return nullptr;
  }
  void** const slot = currentBlock->take(content);
  if (!slot) failure = SlotFailure::inconsistent;
  if (currentBlock->isFull()) roomy.dropFirst();
  return slot;
}

void giveBack(ZorvexMasterPointerBlock& owner, void** slot) {
  if (owner.isFull()) roomy.add(owner);
  owner.give(slot);
}

void countDirectly(Int64 made, Int64 change) {
  cDebugStats.NumTotalHandles += made;
  cDebugStats.NumCurrentHandles += change;
  cDebugStats.MaxCurrentHandles = std::max(cDebugStats.MaxCurrentHandles, cDebugStats.NumCurrentHandles);
}

// A peak counts from what the others had last handed in, so it is exact while one thread works and else off by what the
// others have at hand.
void handIn(ThreadSlots& mine) {
  const Int64 peak = cDebugStats.NumCurrentHandles + std::max(std::exchange(mine.peak, 0), mine.inUse());
  cDebugStats.MaxCurrentHandles = std::max(cDebugStats.MaxCurrentHandles, peak);
  const Int64 change = mine.inUse();
  mine.ended.store(0, std::memory_order_relaxed);
  countDirectly(mine.made.exchange(0, std::memory_order_relaxed), change);
}

void giveBackOldest(ThreadSlots& mine, ULong count) {
  for (ULong i = 0; i < count; ++i) giveBack(*slotOwner(mine.slot[i]), mine.slot[i]);
  std::copy(mine.slot + count, mine.slot + mine.count, mine.slot);
  mine.count -= count;
}

// Takes a batch as far as there are blocks with room, to be handed out in the blocks' order. Expects none at hand.
void fill(ThreadSlots& mine) {
  void*** const end = mine.slot + kBatch;
  while (mine.count < kBatch && roomy.first()) {
    ZorvexMasterPointerBlock& block = *roomy.first();
    mine.count += static_cast<ULong>(block.takeIdle(end - mine.count, kBatch - mine.count));
    if (!block.isFull()) break;
    roomy.dropFirst();
  }
  std::copy(end - mine.count, end, mine.slot);
}

// Above here, the lock is held.

void endThreadSlots(void* argument) {
  auto* const mine = static_cast<ThreadSlots*>(argument);
  {
    const SpinTenure held(cHandleMgrMutex);
    handIn(*mine);
    giveBackOldest(*mine, mine->count);
    (mine->previous ? mine->previous->next : firstThread) = mine->next;
    if (mine->next) mine->next->previous = mine->previous;
  }
  std::free(mine);
  tSlots = nullptr;
}

// Returns null if there is no memory for them: then the thread does without.
ThreadSlots* threadSlots() {
  if (tSlots) return tSlots;
  constexpr std::size_t kLine = 64;
  void* const memory = std::aligned_alloc(kLine, (sizeof(ThreadSlots) + kLine - 1) / kLine * kLine);
  if (!memory) return nullptr;
  auto* const mine = new (memory) ThreadSlots;
  {
    const SpinTenure held(cHandleMgrMutex);
    mine->next = firstThread;
    if (mine->next) mine->next->previous = mine;
    firstThread = mine;
  }
  tSlots = mine;
  platform::atThreadExit(endThreadSlots, mine);
  return mine;
}

}  // namespace

void** newSlotSlowly(void* content, SlotFailure& failure) noexcept {
  if (!slotsStarted()) {
    failure = SlotFailure::notStarted;
    return nullptr;
  }
  ThreadSlots* const mine = threadSlots();
  if (mine && mine->count) {
    failure = SlotFailure::inconsistent;
    return nullptr;
  }
  const SpinTenure held(cHandleMgrMutex);
  if (mine) handIn(*mine);
  void** const slot = takeFromFirst(content, failure);
  if (!slot) return nullptr;
  countDirectly(1, 1);
  if (mine) fill(*mine);
  return slot;
}

void endSlotSlowly(ZorvexMasterPointerBlock& owner, void** slot) noexcept {
  ThreadSlots* const mine = threadSlots();
  const SpinTenure held(cHandleMgrMutex);
  if (mine) handIn(*mine);
  countDirectly(0, -1);
  if (cDbgForceUniqueHandles) {
    *slot = nullptr;
    return;
  }
  if (!mine) {
    giveBack(owner, slot);
    return;
  }
  if (mine->count == ThreadSlots::kKept) giveBackOldest(*mine, kBatch);
  *slot = slot;
  mine->slot[mine->count++] = slot;
}

bool startSlots() {
  const SpinTenure held(cHandleMgrMutex);
  if (!slotsStarted()) cFirstBlock = addBlock();
  return slotsStarted();
}

ZorvexMasterPointerBlock* firstSlotBlock() { return cFirstBlock; }

bool slotsStarted() { return firstSlotBlock() != nullptr; }

void countSlotError() {
  const SpinTenure held(cHandleMgrMutex);
  ++cDebugStats.NumErrors;
}

ZorvexHandleMgrStats slotStatistics() {
  const SpinTenure held(cHandleMgrMutex);
  if (tSlots) handIn(*tSlots);
  ZorvexHandleMgrStats sum = cDebugStats;
  for (const ThreadSlots* each = firstThread; each; each = each->next) {
    sum.NumTotalHandles += each->made.load(std::memory_order_relaxed);
    sum.NumCurrentHandles += each->inUse();
  }
  sum.MaxCurrentHandles = std::max(sum.MaxCurrentHandles, sum.NumCurrentHandles);
  return sum;
}

}  // namespace ky

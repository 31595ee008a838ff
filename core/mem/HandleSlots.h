// The handle manager from within: slots without the detour of exported names, and failures as results.
//
// Each thread keeps a few free slots at hand, so that most handles are made and ended without a lock. A slot at hand
// holds an address among its block's slots, as every free slot but the last does.
#pragma once

#include <algorithm>
#include <atomic>

#include "core/mem/MasterPointerBlock.h"
#include "core/mem/ZorvexHandleMgr.h"

namespace ky {

extern constinit MasterBlockTable masterBlocks;

/// Returns:  the block that a fake handle lies in, or null. Before the manager's start, null for all.
inline ZorvexMasterPointerBlock* slotOwner(const void* handle) { return masterBlocks.find(handle); }

enum class SlotFailure { none, notStarted, noMemory, inconsistent, freeAlready, unknown };

/// Makes the first block.
///
/// Returns:  false if there is no memory.
bool startSlots();
bool slotsStarted();
/// Returns:  the head of the chain of blocks; null before the start.
ZorvexMasterPointerBlock* firstSlotBlock();
void countSlotError();
ZorvexHandleMgrStats slotStatistics();

extern std::atomic<bool> cDbgForceUniqueHandles;

/// What one thread has at hand, and its part of the statistics since it was last handed in.
struct ThreadSlots {
  static constexpr ULong kKept = 64;

  void** slot[kKept];  ///< the one freed last is at the end
  ULong count = 0;
  std::atomic<Int64> made{0};  ///< written by the thread, read by whoever sums up
  std::atomic<Int64> ended{0};
  Int64 peak = 0;  ///< as of the last end, since only an end comes down from one
  ThreadSlots* next = nullptr;
  ThreadSlots* previous = nullptr;

  Int64 inUse() const { return made.load(std::memory_order_relaxed) - ended.load(std::memory_order_relaxed); }
  void countMade() { made.store(made.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed); }
  void countEnded() {
    peak = std::max(peak, inUse());
    ended.store(ended.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
};

extern constinit thread_local ThreadSlots* tSlots __attribute__((tls_model("initial-exec")));

/// For when newSlotAtHand() had none.
///
/// Returns:  a slot that holds `content`, or null and why.
void** newSlotSlowly(void* content, SlotFailure& failure) noexcept;
void endSlotSlowly(ZorvexMasterPointerBlock& owner, void** slot) noexcept;

/// Returns:  a slot that holds `content`; null if the thread has none at hand, or one that is inconsistent.
inline void** newSlotAtHand(void* content) noexcept {
  ThreadSlots* const mine = tSlots;
  if (!mine || mine->count == 0) [[unlikely]]
    return nullptr;
  void** const slot = mine->slot[mine->count - 1];
  if (!ZorvexMasterPointerBlock::areNeighbours(slot, *slot)) [[unlikely]]
    return nullptr;
  --mine->count;
  *slot = content;
  mine->countMade();
  return slot;
}

/// Requires: `owner` is slotOwner(slot).
/// Returns:  what the slot held; null, too, and why, if it is free already.
inline void* endSlot(ZorvexMasterPointerBlock& owner, void** slot, SlotFailure& failure) noexcept {
  void* const content = *slot;
  // A used slot never holds the address of one. The last of a block's free ones holds null and passes for an empty
  // handle.
  if (owner.owns(content)) [[unlikely]] {
    failure = SlotFailure::freeAlready;
    return nullptr;
  }
  ThreadSlots* const mine = tSlots;
  if (!mine || mine->count == ThreadSlots::kKept || cDbgForceUniqueHandles.load(std::memory_order_relaxed))
      [[unlikely]] {
    endSlotSlowly(owner, slot);
    return content;
  }
  *slot = slot;
  mine->slot[mine->count++] = slot;
  mine->countEnded();
  return content;
}

/// Counts the error and raises it.
void raiseSlotFailure(SlotFailure failure);

}  // namespace ky

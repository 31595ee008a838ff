#include "core/mem/ZorvexHandleMgr.h"

#include <algorithm>
#include <atomic>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/HandleSlots.h"
#include "core/mem/SpinLock.h"

using namespace ky;

namespace {

// Guards the blocks' free lists, the chain and the counters. Errors are raised behind it, for the raise log may be a
// client that makes handles.
constinit SpinLock cHandleMgrMutex;
std::atomic<bool> cInitialized{false};
constinit ZorvexMasterPointerBlock* lastBlock = nullptr;
constinit RoomyBlocks roomy;
constinit ZorvexHandleMgrStats cDebugStats;
std::atomic<bool> cDbgForceUniqueHandles{false};

bool checkInit() { return check(cInitialized, "cInitialized"); }

// Appends a block to the chain, the lock held.
ZorvexMasterPointerBlock* addBlock() noexcept {
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

}  // namespace

namespace ky {

constinit MasterBlockTable masterBlocks;

void** newSlot(void* content, SlotFailure& failure) noexcept {
  const SpinTenure held(cHandleMgrMutex);
  ZorvexMasterPointerBlock* currentBlock = roomy.first();
  if (!currentBlock) [[unlikely]] {
    currentBlock = cInitialized ? addBlock() : nullptr;
    if (!currentBlock) {
      failure = cInitialized ? SlotFailure::noMemory : SlotFailure::notStarted;
      return nullptr;
    }
  }
  void** const slot = currentBlock->take(content);
  if (!slot) [[unlikely]] {
    failure = SlotFailure::inconsistent;
    return nullptr;
  }
  if (currentBlock->isFull()) [[unlikely]]
    roomy.dropFirst();
  ++cDebugStats.NumTotalHandles;
  const Int64 current = ++cDebugStats.NumCurrentHandles;
  cDebugStats.MaxCurrentHandles = std::max(cDebugStats.MaxCurrentHandles, current);
  return slot;
}

void* endSlot(ZorvexMasterPointerBlock& owner, void** slot, SlotFailure& failure) noexcept {
  const SpinTenure held(cHandleMgrMutex);
  void* const content = *slot;
  // A used slot never holds the address of one. The last of the free ones holds null and passes for an empty handle.
  if (owner.owns(content)) [[unlikely]] {
    failure = SlotFailure::freeAlready;
    return nullptr;
  }
  const bool forGood = cDbgForceUniqueHandles.load(std::memory_order_relaxed);
  if (owner.isFull() && !forGood) [[unlikely]]
    roomy.add(owner);
  owner.give(slot, forGood);
  --cDebugStats.NumCurrentHandles;
  return content;
}

namespace {

void raiseCounted(const char* code) {
  {
    const SpinTenure held(cHandleMgrMutex);
    ++cDebugStats.NumErrors;
  }
  +XError(code, 0);
}

}  // namespace

void raiseSlotFailure(SlotFailure failure) {
  switch (failure) {
    case SlotFailure::none:
      break;
    case SlotFailure::notStarted:
      checkInit();
      raiseCounted("MEM_OUT_OF_MEMORY");
      break;
    case SlotFailure::noMemory:
      check(false, "currentBlock != NULL");
      raiseCounted("MEM_OUT_OF_MEMORY");
      break;
    case SlotFailure::inconsistent:
      raiseCounted("ZorvexMasterPointerBlock::CreateHandle (consistency check failed)");
      break;
    case SlotFailure::freeAlready:
      raiseCounted("ZorvexMasterPointerBlock::Contains (can't delete a free handle)");
      break;
    case SlotFailure::unknown:
      raiseCounted("ZorvexHandleMgr::DeleteHandle (not an Zorvex handle)");
      break;
  }
}

}  // namespace ky

ZorvexHandleMgr::ZorvexHandleMgr() { fatal("Cannot create an instance of ZorvexHandleMgr."); }

ZorvexHandleMgr::~ZorvexHandleMgr() { fatal("There should be no ZorvexHandleMgr to destruct."); }

void ZorvexHandleMgr::ZorvexHandleMgrInit() {
  if (cInitialized) return;
  ZorvexMasterPointerBlock* currentBlock = nullptr;
  {
    const SpinTenure held(cHandleMgrMutex);
    currentBlock = addBlock();
  }
  cInitialized = check(currentBlock != nullptr, "currentBlock != NULL");
}

void** ZorvexHandleMgr::CreateHandle(void* block) {
  auto failure = SlotFailure::none;
  void** const slot = newSlot(block, failure);
  if (!slot) [[unlikely]]
    raiseSlotFailure(failure);
  return slot;
}

void* ZorvexHandleMgr::DeleteHandle(void** handle) {
  if (!checkInit()) return nullptr;
  auto failure = SlotFailure::none;
  ZorvexMasterPointerBlock* const owner = slotOwner(handle);
  void* const block = owner ? endSlot(*owner, handle, failure) : nullptr;
  if (!owner) failure = SlotFailure::unknown;
  if (failure != SlotFailure::none) [[unlikely]]
    raiseSlotFailure(failure);
  return block;
}

unsigned char ZorvexHandleMgr::IsZorvexHandle(void** handle) {
  if (slotOwner(handle)) [[likely]]
    return true;
  checkInit();
  return false;
}

void ZorvexHandleMgr::DumpStatistics(KyPrint print) {
  ZorvexHandleMgrStats stats;
  {
    const SpinTenure held(cHandleMgrMutex);
    stats = cDebugStats;
  }
  constexpr int kWidth = 15;
  print("ZorvexHandleMgr statistics:\n");
  print("\tNumMasterBlocks\t\t= %*.0f\n", kWidth, static_cast<double>(stats.NumMasterBlocks));
  print("\tNumErrors\t\t\t= %*.0f\n", kWidth, static_cast<double>(stats.NumErrors));
  print("\tNumTotalHandles\t\t= %*.0f\n", kWidth, static_cast<double>(stats.NumTotalHandles));
  print("\tNumCurrentHandles\t= %*.0f\n", kWidth, static_cast<double>(stats.NumCurrentHandles));
  print("\tMaxCurrentHandles\t= %*.0f\n", kWidth, static_cast<double>(stats.MaxCurrentHandles));
}

void ZorvexHandleMgr::SetForceUniqueHandles(unsigned char force) { cDbgForceUniqueHandles = force != 0; }

unsigned char ZorvexHandleMgr::GetForceUniqueHandles() { return cDbgForceUniqueHandles; }

#include "core/mem/ZorvexHandleMgr.h"

#include <algorithm>
#include <atomic>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/MasterPointerBlock.h"
#include "core/mem/SpinLock.h"

using namespace ky;

namespace {

// Guards the blocks' free lists, the chain and the counters. Errors are raised behind it, for the raise log may be a
// client that makes handles.
constinit SpinLock cHandleMgrMutex;
constinit MasterBlockTable blockTable;
constinit RoomyBlocks roomy;
ZorvexMasterPointerBlock* lastBlock = nullptr;
std::atomic<bool> cDbgForceUniqueHandles{false};

}  // namespace

constinit Boolean ZorvexHandleMgr::cInitialized = false;
constinit ZorvexMasterPointerBlock* ZorvexHandleMgr::cFirstBlock = nullptr;
constinit ZorvexHandleMgrStats ZorvexHandleMgr::cDebugStats;

ZorvexHandleMgr::ZorvexHandleMgr() { fatal("Cannot create an instance of ZorvexHandleMgr."); }

ZorvexHandleMgr::~ZorvexHandleMgr() { fatal("There should be no ZorvexHandleMgr to destruct."); }

bool ZorvexHandleMgr::CheckInit() { return check(cInitialized, "cInitialized"); }

void ZorvexHandleMgr::ZorvexHandleMgrInit() {
  if (cInitialized) return;
  {
    const SpinTenure held(cHandleMgrMutex);
    cFirstBlock = addBlock();
  }
  cInitialized = check(cFirstBlock != nullptr, "currentBlock != NULL");
}

// Appends a block to the chain, the lock held.
ZorvexMasterPointerBlock* ZorvexHandleMgr::addBlock() {
  auto* const block = new ZorvexMasterPointerBlock(lastBlock, nullptr);
  if (!block) return nullptr;
  if (!blockTable.add(block)) {
    delete block;
    return nullptr;
  }
  lastBlock = block;
  roomy.add(*block);
  ++cDebugStats.NumMasterBlocks;
  return block;
}

void ZorvexHandleMgr::raiseCounted(const char* code) {
  {
    const SpinTenure held(cHandleMgrMutex);
    ++cDebugStats.NumErrors;
  }
  +XError(code, 0);
}

void** ZorvexHandleMgr::CreateHandle(void* block) {
  if (!CheckInit()) return nullptr;
  void** slot = nullptr;
  bool noMemory = false;
  {
    const SpinTenure held(cHandleMgrMutex);
    ZorvexMasterPointerBlock* currentBlock = roomy.first();
    if (!currentBlock) [[unlikely]]
      currentBlock = addBlock();
    noMemory = !currentBlock;
    if (currentBlock) slot = currentBlock->take(block);
    if (slot) [[likely]] {
      if (currentBlock->isFull()) roomy.dropFirst();
      ++cDebugStats.NumTotalHandles;
      ++cDebugStats.NumCurrentHandles;
      cDebugStats.MaxCurrentHandles = std::max(cDebugStats.MaxCurrentHandles, cDebugStats.NumCurrentHandles);
    }
  }
  if (slot) [[likely]]
    return slot;
  check(!noMemory, "currentBlock != NULL");
  raiseCounted(noMemory ? "MEM_OUT_OF_MEMORY" : "ZorvexMasterPointerBlock::CreateHandle (consistency check failed)");
  return nullptr;
}

void* ZorvexHandleMgr::DeleteHandle(void** handle) {
  if (!CheckInit()) return nullptr;
  ZorvexMasterPointerBlock* const owner = GetMasterBlock(handle);
  if (!owner) [[unlikely]] {
    raiseCounted("ZorvexHandleMgr::DeleteHandle (not an Zorvex handle)");
    return nullptr;
  }
  void* old = nullptr;
  bool wasFree = false;
  {
    const SpinTenure held(cHandleMgrMutex);
    old = *handle;
    wasFree = owner->owns(old);
    if (!wasFree) [[likely]] {
      const bool forGood = cDbgForceUniqueHandles.load(std::memory_order_relaxed);
      if (owner->isFull() && !forGood) roomy.add(*owner);
      owner->give(handle, forGood);
      --cDebugStats.NumCurrentHandles;
    }
  }
  // Used slots never hold such addresses. A free slot at the end of its list holds null and passes for an empty handle.
  if (wasFree) raiseCounted("ZorvexMasterPointerBlock::Contains (can't delete a free handle)");
  return wasFree ? nullptr : old;
}

unsigned char ZorvexHandleMgr::IsZorvexHandle(void** handle) {
  return CheckInit() && GetMasterBlock(handle) != nullptr;
}

ZorvexMasterPointerBlock* ZorvexHandleMgr::FirstBlock() { return cFirstBlock; }

ZorvexMasterPointerBlock* ZorvexHandleMgr::GetMasterBlock(void** handle) { return blockTable.find(handle); }

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

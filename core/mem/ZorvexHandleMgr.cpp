#include "core/mem/ZorvexHandleMgr.h"

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/HandleSlots.h"

using namespace ky;

namespace {

void raiseCounted(const char* code) {
  countSlotError();
  +XError(code, 0);
}

}  // namespace

void ky::raiseSlotFailure(SlotFailure failure) {
  switch (failure) {
    case SlotFailure::none:
      break;
    case SlotFailure::notStarted:
      check(false, "cInitialized");
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

ZorvexHandleMgr::ZorvexHandleMgr() { fatal("Cannot create an instance of ZorvexHandleMgr."); }

ZorvexHandleMgr::~ZorvexHandleMgr() { fatal("There should be no ZorvexHandleMgr to destruct."); }

bool ZorvexHandleMgr::CheckInit() { return check(FirstBlock() != nullptr, "cInitialized"); }

ZorvexMasterPointerBlock* ZorvexHandleMgr::FirstBlock() { return firstSlotBlock(); }

ZorvexMasterPointerBlock* ZorvexHandleMgr::GetMasterBlock(void** handle) { return slotOwner(handle); }

void ZorvexHandleMgr::ZorvexHandleMgrInit() {
  if (!slotsStarted()) check(startSlots(), "currentBlock != NULL");
}

void** ZorvexHandleMgr::CreateHandle(void* block) {
  if (void** const slot = newSlotAtHand(block)) [[likely]]
    return slot;
  auto failure = SlotFailure::none;
  void** const slot = newSlotSlowly(block, failure);
  if (!slot) raiseSlotFailure(failure);
  return slot;
}

void* ZorvexHandleMgr::DeleteHandle(void** handle) {
  if (!CheckInit()) return nullptr;
  auto failure = SlotFailure::none;
  ZorvexMasterPointerBlock* const owner = GetMasterBlock(handle);
  void* const block = owner ? endSlot(*owner, handle, failure) : nullptr;
  if (!owner) failure = SlotFailure::unknown;
  if (failure != SlotFailure::none) [[unlikely]]
    raiseSlotFailure(failure);
  return block;
}

unsigned char ZorvexHandleMgr::IsZorvexHandle(void** handle) {
  if (GetMasterBlock(handle)) [[likely]]
    return true;
  CheckInit();
  return false;
}

void ZorvexHandleMgr::DumpStatistics(KyPrint print) {
  const ZorvexHandleMgrStats stats = slotStatistics();
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

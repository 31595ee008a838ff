// Stable slots for handles: each a master pointer that holds the address of the handle's block.
#pragma once

#include "core/base/KyTypes.h"

class ZorvexMasterPointerBlock;

struct ZorvexHandleMgrStats {
  Int64 NumMasterBlocks = 0;
  Int64 NumErrors = 0;
  Int64 NumTotalHandles = 0;
  Int64 NumCurrentHandles = 0;
  Int64 MaxCurrentHandles = 0;
};

/// Static members only; to make an instance is fatal. The slots are its own, the blocks in them the caller's.
///
/// Threads:  any. The owner test takes no lock.
class KY_API ZorvexHandleMgr {
 public:
  ZorvexHandleMgr();
  virtual ~ZorvexHandleMgr();

  /// A second call does nothing.
  static void ZorvexHandleMgrInit();

  /// Returns:  a slot that holds `block`; a null makes an empty handle.
  /// Raises:   "ZorvexMasterPointerBlock::CreateHandle (consistency check failed)".
  static void** CreateHandle(void* block);
  /// Frees the slot; the one freed last is used next.
  ///
  /// Returns:  the block that it held.
  /// Raises:   "ZorvexHandleMgr::DeleteHandle (not an Zorvex handle)",
  ///           "ZorvexMasterPointerBlock::Contains (can't delete a free handle)".
  static void* DeleteHandle(void** handle);
  /// Returns:  true if the address lies among the slots; alignment is not tested.
  /// Requires: "cInitialized".
  static unsigned char IsZorvexHandle(void** handle);

  static void DumpStatistics(KyPrint print);

  /// With unique handles a freed slot is never used again and holds a null, so that use of a stale handle shows at
  /// once; to end it again passes.
  static void SetForceUniqueHandles(unsigned char force);
  static unsigned char GetForceUniqueHandles();

 private:
  static bool CheckInit();
  /// Returns:  the head of the chain of blocks; null before ZorvexHandleMgrInit().
  static ZorvexMasterPointerBlock* FirstBlock();
  /// Returns:  the block that the handle's slot lies in, or null.
  static ZorvexMasterPointerBlock* GetMasterBlock(void** handle);
};

// The handle manager from within: slots without the detour of exported names, and failures as results.
#pragma once

#include "core/mem/MasterPointerBlock.h"

namespace ky {

extern constinit MasterBlockTable masterBlocks;

/// Returns:  the block that a fake handle lies in, or null. Before the manager's start, null for all.
inline ZorvexMasterPointerBlock* slotOwner(const void* handle) { return masterBlocks.find(handle); }

enum class SlotFailure { none, notStarted, noMemory, inconsistent, freeAlready, unknown };

/// Returns:  a slot that holds `content`, or null and why.
void** newSlot(void* content, SlotFailure& failure) noexcept;

/// Requires: `owner` is slotOwner(slot).
/// Returns:  what the slot held; null, too, and why, if it is free already.
void* endSlot(ZorvexMasterPointerBlock& owner, void** slot, SlotFailure& failure) noexcept;

/// Counts the error and raises it.
void raiseSlotFailure(SlotFailure failure);

}  // namespace ky

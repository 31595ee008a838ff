// Fake handles without the detour of an exported name.
#pragma once

#include "core/mem/HandleSlots.h"
#include "core/mem/TracedPtr.h"

namespace ky {

/// For when newSlotAtHand() had none. The block goes with the failure.
char** newFakeSlowly(void* block);
char** newFakeOfSizeSlowly(Long size);

[[gnu::always_inline]] inline char** newFake(void* block) {
  void** const slot = newSlotAtHand(block);
  return slot ? reinterpret_cast<char**>(slot) : newFakeSlowly(block);
}

/// KyNewHandleZorvex(): nearly always both the block and the slot are at hand.
[[gnu::always_inline]] inline char** newFakeOfSize(Long size) {
  if (void* const block = newPtrAtHand(size)) [[likely]]
    return newFake(block);
  char** const handle = newFakeOfSizeSlowly(size);
  keepFrame();
  return handle;
}

}  // namespace ky

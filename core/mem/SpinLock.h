// A lock for a few instructions at a time.
#pragma once

#include <atomic>

#include "core/base/KyTypes.h"

namespace ky {

/// Cheaper than the native lock by a read-modify-write. Nothing that may block, raise or report runs under it, so a
/// waiter need not give up the cooperative section.
///
/// Requires: not taken again by the thread that holds it.
class KY_API SpinLock {
 public:
  void lock() {
    if (taken_.exchange(true, std::memory_order_acquire)) [[unlikely]]
      lockSlow();
  }
  void unlock() { taken_.store(false, std::memory_order_release); }

  /// What a waiter does after so many vain looks.
  static void rest(int tries);

 private:
  void lockSlow();

  std::atomic<bool> taken_{false};
};

}  // namespace ky

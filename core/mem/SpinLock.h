// A lock for a few instructions at a time.
#pragma once

#include <atomic>

#include "core/base/KyTypes.h"
#include "platform/SingleThread.h"

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

/// Holds a spin lock for a scope. A process of one thread does without, for the lock would be half of the work.
///
/// Requires: no thread is started in the scope.
class SpinTenure {
 public:
  explicit SpinTenure(SpinLock& lock) : lock_(platform::isSingleThreaded() ? nullptr : &lock) {
    if (lock_) lock_->lock();
  }
  ~SpinTenure() {
    if (lock_) lock_->unlock();
  }
  SpinTenure(const SpinTenure&) = delete;
  SpinTenure& operator=(const SpinTenure&) = delete;

 private:
  SpinLock* lock_;
};

}  // namespace ky

// A spin lock held for a scope.
#pragma once

#include "core/mem/SpinLock.h"
#include "platform/SingleThread.h"

namespace ky {

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

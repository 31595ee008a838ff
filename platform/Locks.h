// The native lock: recursive, timed, and it knows its owner.
#pragma once

#include <atomic>

#include "core/base/KyTypes.h"

namespace ky::platform {

/// A wait without limit.
inline constexpr Int64 kForever = -1;

enum class Wait {
  acquired,
  abandoned,  ///< acquired from a thread that ended while it held the lock: what the lock guards may be half done
  timedOut,
};

/// Number of the calling thread among all threads that ever locked, 0 before its first lock. Numbers are not used
/// again, so that a lock held by a thread that ended is never taken for one held by a newer thread.
KY_API extern constinit thread_local ULong tLockOwner __attribute__((tls_model("initial-exec")));

/// A lock that its owner may take again, each time to be matched by an `unlock`.
///
/// Uncontended it is one compare-and-swap on its own word each way; waiters queue, first come first woken, under a lock
/// that all of the process's locks share.
///
/// Requires: nobody holds it or waits for it when it is destroyed.
class KY_API RecursiveLock {
 public:
  RecursiveLock() = default;
  RecursiveLock(const RecursiveLock&) = delete;
  RecursiveLock& operator=(const RecursiveLock&) = delete;

  void lock() {
    if (!tryTake()) lockSlow(kForever);
  }

  bool tryLock() { return tryTake() || lockSlow(0) != Wait::timedOut; }

  /// Units:    `milliseconds` of waiting at most; 0 does not wait, `kForever` has no limit.
  Wait lockFor(Int64 milliseconds) { return tryTake() ? Wait::acquired : lockSlow(milliseconds); }

  /// Gives back one level.
  ///
  /// Returns:  false, and nothing changed, if the caller does not hold the lock.
  bool unlock() {
    const ULong held = word.load(std::memory_order_relaxed);
    if ((held & ~kWaiters) != tLockOwner || tLockOwner == 0) return false;
    if (--depth != 0) return true;
    ULong mine = tLockOwner;
    if (!word.compare_exchange_strong(mine, 0, std::memory_order_release, std::memory_order_relaxed)) unlockSlow();
    return true;
  }

  /// Frees the lock whoever holds it, for an owner that will not come back; an owner that does is refused its `unlock`.
  void forceUnlock();

  bool isHeldByCaller() const {
    return tLockOwner != 0 && (word.load(std::memory_order_relaxed) & ~kWaiters) == tLockOwner;
  }

  /// Levels held by the calling thread.
  ULong levelsHeld() const { return isHeldByCaller() ? depth : 0; }

 private:
  static constexpr ULong kWaiters = 0x80000000;

  bool tryTake() {
    const ULong me = tLockOwner;
    ULong held = word.load(std::memory_order_relaxed);
    if (me == 0) return false;
    if ((held & ~kWaiters) == me) {
      ++depth;
      return true;
    }
    if (held != 0 || !word.compare_exchange_strong(held, me, std::memory_order_acquire, std::memory_order_relaxed)) {
      return false;
    }
    depth = 1;
    return true;
  }

  Wait lockSlow(Int64 milliseconds);
  Wait waitInLine(Int64 milliseconds);
  void unlockSlow();
  void free();

  std::atomic<ULong> word{0};  ///< the owner's number, 0 when free, and kWaiters
  ULong depth = 0;             ///< the owner's to touch
};

/// Holds a lock for a scope.
class Lock {
 public:
  explicit Lock(RecursiveLock& lock) : held(lock) { held.lock(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock() { held.unlock(); }

 private:
  RecursiveLock& held;
};

}  // namespace ky::platform

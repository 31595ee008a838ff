// The native lock, which is recursive and knows its owner; the semaphore; the event; and waits for several of them.
#pragma once

#include <atomic>
#include <cstddef>
#include <span>

#include "core/base/KyTypes.h"

namespace ky::platform {

/// A wait without limit.
inline constexpr Int64 kForever = -1;

enum class Wait {
  acquired,
  abandoned,  ///< acquired from a thread that ended while it held the lock: what the lock guards may be half done
  timedOut,
  interrupted,  ///< given up, because the wait's flag was raised
};

/// A flag that makes a thread give up its waits while it is up.
using GiveUp = std::atomic<bool>;

/// Number of the calling thread among all threads that ever locked, 0 before its first lock. Numbers are not used
/// again, so that a lock held by a thread that ended is never taken for one held by a newer thread.
KY_API extern constinit thread_local ULong tLockOwner __attribute__((tls_model("initial-exec")));

struct Waiter;

/// What threads wait for.
///
/// While anybody waits for an object, or looks at several at a time, a bit of its word sends all who would change it
/// through the gate that all the process's waits share; otherwise a take or a release is one compare-and-swap.
///
/// Requires: nobody holds it or waits for it when it is destroyed.
class KY_API Waitable {
 public:
  Waitable(const Waitable&) = delete;
  Waitable& operator=(const Waitable&) = delete;

  // What the waits ask of an object, under the gate.
  virtual bool isReadyFor(const Waiter& waiter) const = 0;
  virtual Wait take() = 0;
  void sendToGate() { word.fetch_or(kWaiters, std::memory_order_acquire); }
  void freeFromGate() { word.fetch_and(~kWaiters, std::memory_order_release); }

 protected:
  static constexpr ULong kWaiters = 0x80000000;

  constexpr Waitable() = default;
  ~Waitable() = default;

  std::atomic<ULong> word{0};  ///< the object's own value, and kWaiters
};

/// Units:    `milliseconds` of waiting at most; 0 does not wait, `kForever` has no limit.
/// Returns:  in `which` the position of the object that was taken.
KY_API Wait waitForAny(std::span<Waitable* const> objects, Int64 milliseconds, std::size_t& which,
                       const GiveUp* giveUp = nullptr);
/// Takes all in one step, or none.
///
/// Requires: no object twice.
KY_API Wait waitForAll(std::span<Waitable* const> objects, Int64 milliseconds, const GiveUp* giveUp = nullptr);

/// Ends the waits that look at `giveUp`, which the caller has raised.
KY_API void interruptWaits(const GiveUp& giveUp);

/// A lock that its owner may take again, each time to be matched by an `unlock`. Waiters queue, first come first woken.
class KY_API RecursiveLock final : public Waitable {
 public:
  constexpr RecursiveLock() = default;

  void lock() {
    if (!tryTake()) lockSlow(kForever, nullptr);
  }

  bool tryLock() { return tryTake() || lockSlow(0, nullptr) != Wait::timedOut; }

  /// Units:    `milliseconds` of waiting at most; 0 does not wait, `kForever` has no limit.
  Wait lockFor(Int64 milliseconds, const GiveUp* giveUp = nullptr) {
    return tryTake() ? Wait::acquired : lockSlow(milliseconds, giveUp);
  }

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

  bool isReadyFor(const Waiter& waiter) const override;
  Wait take() override;

 private:
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

  Wait lockSlow(Int64 milliseconds, const GiveUp* giveUp);
  void unlockSlow();
  void free();

  ULong depth = 0;  ///< the owner's to touch
};

/// Counts what may be taken.
class KY_API Semaphore final : public Waitable {
 public:
  constexpr Semaphore() = default;

  ULong count() const { return word.load(std::memory_order_relaxed) & ~kWaiters; }

  /// Takes one.
  ///
  /// Units:    `milliseconds` of waiting at most; 0 does not wait, `kForever` has no limit.
  Wait takeFor(Int64 milliseconds, const GiveUp* giveUp = nullptr);

  /// Gives one.
  ///
  /// Returns:  false, and nothing changed, if there are `limit` already.
  bool give(ULong limit);

  bool isReadyFor(const Waiter& waiter) const override;
  Wait take() override;
};

/// Lets all who wait pass at once, now or from now on.
class KY_API Event final : public Waitable {
 public:
  constexpr Event() = default;

  /// Units:    `milliseconds` of waiting at most; 0 does not wait, `kForever` has no limit.
  Wait waitFor(Int64 milliseconds, const GiveUp* giveUp = nullptr);

  /// Lets pass all who wait and all who will.
  void set();
  /// Lets pass those who wait now; the event is not set afterwards.
  void pulse();

  bool isReadyFor(const Waiter& waiter) const override;
  Wait take() override { return Wait::acquired; }
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

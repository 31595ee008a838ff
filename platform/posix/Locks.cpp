#include "platform/Locks.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <unordered_set>

#include "platform/Threads.h"

namespace ky::platform {

constinit thread_local ULong tLockOwner = 0;

namespace {

constexpr int kSpins = 60;
constexpr Int64 kLongestWait = Int64{1'000} * 3'600 * 24 * 365 * 30;  // a limit beyond it is none

struct Waiter {
  const RecursiveLock* lock = nullptr;
  Waiter* next = nullptr;
  bool woken = false;
  std::condition_variable wake;
};

/// What all locks share: the line of those who wait, and who is alive. Never destroyed, since threads may outlive the
/// static objects.
struct WaitingRoom {
  std::mutex gate;
  Waiter* first = nullptr;
  Waiter* last = nullptr;
  std::unordered_set<ULong> living;
  ULong lastOwner = 0;

  void join(Waiter& waiter) {
    (last ? last->next : first) = &waiter;
    last = &waiter;
  }

  void leave(Waiter& waiter) {
    Waiter* before = nullptr;
    for (Waiter* at = first; at != &waiter; at = at->next) before = at;
    (before ? before->next : first) = waiter.next;
    if (last == &waiter) last = before;
  }

  /// The first in line for `lock`, but for `self`.
  Waiter* firstFor(const RecursiveLock* lock, const Waiter* self = nullptr) const {
    for (Waiter* at = first; at; at = at->next) {
      if (at->lock == lock && at != self) return at;
    }
    return nullptr;
  }
};

WaitingRoom& room() {
  static auto* const shared = new WaitingRoom;
  return *shared;
}

// Whoever waits for a lock of this thread's learns by its absence that the lock is abandoned.
void leaveTheLiving(void*) {
  WaitingRoom& shared = room();
  const std::lock_guard hold(shared.gate);
  shared.living.erase(tLockOwner);
  tLockOwner = 0;
  for (Waiter* at = shared.first; at; at = at->next) {
    at->woken = true;
    at->wake.notify_one();
  }
}

void joinTheLiving() {
  WaitingRoom& shared = room();
  {
    const std::lock_guard hold(shared.gate);
    tLockOwner = ++shared.lastOwner;
    shared.living.insert(tLockOwner);
  }
  atThreadExit(leaveTheLiving, nullptr);
}

inline void pause() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

}  // namespace

Wait RecursiveLock::lockSlow(Int64 milliseconds) {
  if (tLockOwner == 0) joinTheLiving();
  if (tryTake()) return Wait::acquired;
  for (int spin = 0; milliseconds != 0 && spin < kSpins; ++spin) {
    pause();
    if (word.load(std::memory_order_relaxed) == 0 && tryTake()) return Wait::acquired;
  }
  return waitInLine(milliseconds);
}

Wait RecursiveLock::waitInLine(Int64 milliseconds) {
  WaitingRoom& shared = room();
  const bool limited = milliseconds >= 0 && milliseconds < kLongestWait;
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(limited ? milliseconds : kLongestWait);
  std::unique_lock hold(shared.gate);
  Waiter self;
  self.lock = this;
  shared.join(self);
  for (bool late = milliseconds == 0;;) {
    ULong held = word.load(std::memory_order_relaxed);
    const ULong owner = held & ~kWaiters;
    const bool abandoned = owner != 0 && !shared.living.contains(owner);
    if (owner != 0 && !abandoned && !late) {
      // The owner must see that somebody waits before this thread sleeps.
      if ((held & kWaiters) == 0 && !word.compare_exchange_weak(held, held | kWaiters, std::memory_order_relaxed)) {
        continue;
      }
      self.woken = false;
      const auto woken = [&] { return self.woken; };
      if (limited) {
        late = !self.wake.wait_until(hold, deadline, woken);
      } else {
        self.wake.wait(hold, woken);
      }
      continue;
    }
    const bool take = owner == 0 || abandoned;
    const ULong line = shared.firstFor(this, &self) ? kWaiters : 0;
    const ULong after = (take ? tLockOwner : owner) | line;
    if (!word.compare_exchange_weak(held, after, std::memory_order_acquire, std::memory_order_relaxed)) continue;
    shared.leave(self);
    if (!take) return Wait::timedOut;
    depth = 1;
    return abandoned ? Wait::abandoned : Wait::acquired;
  }
}

void RecursiveLock::unlockSlow() {
  const std::lock_guard hold(room().gate);
  if (isHeldByCaller()) free();
}

void RecursiveLock::forceUnlock() {
  const std::lock_guard hold(room().gate);
  free();
}

// Under the gate.
void RecursiveLock::free() {
  Waiter* const next = room().firstFor(this);
  word.store(next ? kWaiters : 0, std::memory_order_release);
  if (next) {
    next->woken = true;
    next->wake.notify_one();
  }
}

}  // namespace ky::platform

#include "platform/Locks.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <unordered_set>

#include "platform/Clock.h"
#include "platform/Threads.h"

namespace ky::platform {

constinit thread_local ULong tLockOwner = 0;

namespace {

constexpr int kSpins = 60;
constexpr Int64 kLongestWait = Int64{1'000} * 3'600 * 24 * 365 * 30;  // a limit beyond it is none

}  // namespace

struct Waiter {
  std::span<Waitable* const> objects;
  bool all = false;
  const GiveUp* giveUp = nullptr;
  Waiter* next = nullptr;
  bool woken = false;
  bool passed = false;  ///< by a pulse
  std::condition_variable wake;

  bool waitsFor(const Waitable* object) const { return std::ranges::find(objects, object) != objects.end(); }
  bool isTold() const { return giveUp && giveUp->load(); }

  void rouse() {
    woken = true;
    wake.notify_one();
  }
};

/// What all waits share: the line of those who wait, and who is alive. Never destroyed, since threads may outlive the
/// static objects. All but the gate is under the gate.
struct WaitingRoom {
  static WaitingRoom& get() {
    static auto* const shared = new WaitingRoom;
    return *shared;
  }

  Wait wait(Waiter& self, Int64 milliseconds, std::size_t& which);
  /// Rouses the first in line for `object`, or with `nextAsleep` the first who was not roused yet; and on the way to
  /// it all who wait for several objects, since they may have to let it pass to the next.
  void rouseFor(const Waitable* object, bool nextAsleep);
  void rouseAll();
  bool isAwaited(const Waitable* object) const;

  std::mutex gate;
  Waiter* first = nullptr;
  Waiter* last = nullptr;
  std::unordered_set<ULong> living;
  ULong lastOwner = 0;

 private:
  void join(Waiter& waiter);
  void leave(Waiter& waiter);
  static bool takeReady(Waiter& self, Wait& got, std::size_t& which);
};

void WaitingRoom::join(Waiter& waiter) {
  (last ? last->next : first) = &waiter;
  last = &waiter;
  for (Waitable* object : waiter.objects) object->sendToGate();
}

void WaitingRoom::leave(Waiter& waiter) {
  Waiter* before = nullptr;
  for (Waiter* at = first; at != &waiter; at = at->next) before = at;
  (before ? before->next : first) = waiter.next;
  if (last == &waiter) last = before;
  for (Waitable* object : waiter.objects) {
    if (!isAwaited(object)) object->freeFromGate();
  }
}

bool WaitingRoom::isAwaited(const Waitable* object) const {
  for (const Waiter* at = first; at; at = at->next) {
    if (at->waitsFor(object)) return true;
  }
  return false;
}

void WaitingRoom::rouseFor(const Waitable* object, bool nextAsleep) {
  for (Waiter* at = first; at; at = at->next) {
    if (!at->waitsFor(object)) continue;
    const bool asleep = !at->woken;
    at->rouse();
    if (at->objects.size() == 1 && (asleep || !nextAsleep)) return;
  }
}

void WaitingRoom::rouseAll() {
  for (Waiter* at = first; at; at = at->next) at->rouse();
}

bool WaitingRoom::takeReady(Waiter& self, Wait& got, std::size_t& which) {
  const auto ready = [&](const Waitable* object) { return object->isReadyFor(self); };
  const auto found = std::ranges::find_if(self.objects, ready);
  if (found == self.objects.end() || (self.all && !std::ranges::all_of(self.objects, ready))) return false;
  which = static_cast<std::size_t>(found - self.objects.begin());
  if (!self.all) {
    got = (*found)->take();
    return true;
  }
  got = Wait::acquired;
  for (Waitable* object : self.objects) {
    if (object->take() == Wait::abandoned) got = Wait::abandoned;
  }
  return true;
}

Wait WaitingRoom::wait(Waiter& self, Int64 milliseconds, std::size_t& which) {
  const bool limited = milliseconds >= 0 && milliseconds < kLongestWait;
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(limited ? milliseconds : kLongestWait);
  std::unique_lock hold(gate);
  join(self);
  Wait got = Wait::timedOut;
  const auto woken = [&] { return self.woken; };
  for (bool late = milliseconds == 0;;) {
    if (takeReady(self, got, which)) break;
    if (self.isTold()) got = Wait::interrupted;
    if (late || got == Wait::interrupted) break;
    self.woken = false;
    if (limited && isSleepHooked()) {
      hold.unlock();
      sleepFor(milliseconds);
      hold.lock();
      late = true;
    } else if (limited) {
      late = !self.wake.wait_until(hold, deadline, woken);
    } else {
      self.wake.wait(hold, woken);
    }
  }
  leave(self);
  return got;
}

namespace {

// Whoever waits for a lock of this thread's learns by its absence that the lock is abandoned.
void leaveTheLiving(void*) {
  WaitingRoom& room = WaitingRoom::get();
  const std::lock_guard hold(room.gate);
  room.living.erase(tLockOwner);
  tLockOwner = 0;
  room.rouseAll();
}

void joinTheLiving() {
  WaitingRoom& room = WaitingRoom::get();
  {
    const std::lock_guard hold(room.gate);
    tLockOwner = ++room.lastOwner;
    room.living.insert(tLockOwner);
  }
  atThreadExit(leaveTheLiving, nullptr);
}

Wait waitInLine(std::span<Waitable* const> objects, bool all, Int64 milliseconds, std::size_t& which,
                const GiveUp* giveUp) {
  if (tLockOwner == 0) joinTheLiving();
  Waiter self;
  self.objects = objects;
  self.all = all;
  self.giveUp = giveUp;
  return WaitingRoom::get().wait(self, milliseconds, which);
}

Wait waitForOne(Waitable* object, Int64 milliseconds, const GiveUp* giveUp) {
  std::size_t which = 0;
  return waitInLine({&object, 1}, false, milliseconds, which, giveUp);
}

}  // namespace

Wait waitForAny(std::span<Waitable* const> objects, Int64 milliseconds, std::size_t& which, const GiveUp* giveUp) {
  return waitInLine(objects, false, milliseconds, which, giveUp);
}

Wait waitForAll(std::span<Waitable* const> objects, Int64 milliseconds, const GiveUp* giveUp) {
  std::size_t which = 0;
  return waitInLine(objects, true, milliseconds, which, giveUp);
}

void interruptWaits(const GiveUp& giveUp) {
  WaitingRoom& room = WaitingRoom::get();
  const std::lock_guard hold(room.gate);
  for (Waiter* at = room.first; at; at = at->next) {
    if (at->giveUp == &giveUp) at->rouse();
  }
}

Wait RecursiveLock::lockSlow(Int64 milliseconds, const GiveUp* giveUp) {
  if (tLockOwner == 0) joinTheLiving();
  if (tryTake()) return Wait::acquired;
  for (int spin = 0; milliseconds != 0 && spin < kSpins; ++spin) {
    pauseProcessor();
    if (word.load(std::memory_order_relaxed) == 0 && tryTake()) return Wait::acquired;
  }
  return waitForOne(this, milliseconds, giveUp);
}

bool RecursiveLock::isReadyFor(const Waiter&) const {
  const ULong owner = word.load(std::memory_order_acquire) & ~kWaiters;
  return owner == 0 || owner == tLockOwner || !WaitingRoom::get().living.contains(owner);
}

Wait RecursiveLock::take() {
  const ULong owner = word.load(std::memory_order_relaxed) & ~kWaiters;
  if (owner == tLockOwner) {
    ++depth;
    return Wait::acquired;
  }
  word.store(tLockOwner | kWaiters, std::memory_order_relaxed);
  depth = 1;
  return owner == 0 ? Wait::acquired : Wait::abandoned;
}

void RecursiveLock::unlockSlow() {
  const std::lock_guard hold(WaitingRoom::get().gate);
  if (isHeldByCaller()) free();
}

void RecursiveLock::forceUnlock() {
  const std::lock_guard hold(WaitingRoom::get().gate);
  free();
}

// Under the gate.
void RecursiveLock::free() {
  WaitingRoom& room = WaitingRoom::get();
  word.store(room.isAwaited(this) ? kWaiters : 0, std::memory_order_release);
  room.rouseFor(this, false);
}

Wait Semaphore::takeFor(Int64 milliseconds, const GiveUp* giveUp) {
  ULong left = word.load(std::memory_order_relaxed);
  while (left != 0 && (left & kWaiters) == 0) {
    if (word.compare_exchange_weak(left, left - 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      return Wait::acquired;
    }
  }
  if (left == 0 && milliseconds == 0) return Wait::timedOut;
  return waitForOne(this, milliseconds, giveUp);
}

bool Semaphore::give(ULong limit) {
  ULong left = word.load(std::memory_order_relaxed);
  while ((left & kWaiters) == 0) {
    if (left >= limit) return false;
    if (word.compare_exchange_weak(left, left + 1, std::memory_order_release, std::memory_order_relaxed)) return true;
  }
  WaitingRoom& room = WaitingRoom::get();
  const std::lock_guard hold(room.gate);
  // The last waiter may have left meanwhile; then others pass by the gate.
  left = word.load(std::memory_order_relaxed);
  do {
    if ((left & ~kWaiters) >= limit) return false;
  } while (!word.compare_exchange_weak(left, left + 1, std::memory_order_release, std::memory_order_relaxed));
  room.rouseFor(this, true);
  return true;
}

bool Semaphore::isReadyFor(const Waiter&) const { return count() != 0; }

Wait Semaphore::take() {
  word.fetch_sub(1, std::memory_order_acquire);
  return Wait::acquired;
}

Wait Event::waitFor(Int64 milliseconds, const GiveUp* giveUp) { return waitForOne(this, milliseconds, giveUp); }

bool Event::isReadyFor(const Waiter& waiter) const {
  return waiter.passed || (word.load(std::memory_order_acquire) & ~kWaiters) != 0;
}

void Event::set() {
  WaitingRoom& room = WaitingRoom::get();
  const std::lock_guard hold(room.gate);
  word.fetch_or(1, std::memory_order_release);
  for (Waiter* at = room.first; at; at = at->next) {
    if (at->waitsFor(this)) at->rouse();
  }
}

void Event::pulse() {
  WaitingRoom& room = WaitingRoom::get();
  const std::lock_guard hold(room.gate);
  word.fetch_and(kWaiters, std::memory_order_release);
  for (Waiter* at = room.first; at; at = at->next) {
    if (!at->waitsFor(this)) continue;
    at->passed = true;
    at->rouse();
  }
}

}  // namespace ky::platform

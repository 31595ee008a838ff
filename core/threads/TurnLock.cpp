#include "core/threads/TurnLock.h"

#include "platform/Threads.h"

namespace ky {
namespace {

// A turn that went to another core comes back within the pauses, or at least the yields. One that went to a thread of
// the same core comes back only if this one sleeps.
constexpr int kPauses = 32;
constexpr int kYields = 8;

// One that slept takes so long to come up that who called it had better not sleep as well, or both would for ever.
constexpr int kYieldsForSleeper = 200;

inline void pause() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

}  // namespace

/// A waiter's place in line, on its own stack. What the waiter looks at lies apart from what others read and write.
struct alignas(64) TurnLock::Place {
  enum State : int { called, asleep, inLine };  ///< as inLine the core is added on which the waiter was

  void await(int yields);
  /// Returns:  the state that the waiter was in.
  int call() { return state.exchange(called, std::memory_order_acq_rel); }
  bool isCalled() const { return state.load(std::memory_order_acquire) == called; }
  bool isCalledWithin(int yields) const;

  Who who = nullptr;
  Place* next = nullptr;
  bool overtaken = false;
  const int waiting = inLine + platform::currentCore();
  alignas(64) std::atomic<int> state{waiting};
};

bool TurnLock::Place::isCalledWithin(int yields) const {
  for (int i = 0; i < kPauses; ++i) {
    if (isCalled()) return true;
    pause();
  }
  for (int i = 0; i < yields; ++i) {
    if (isCalled()) return true;
    platform::yieldProcessor();
  }
  return false;
}

void TurnLock::Place::await(int yields) {
  if (yields > 0 && isCalledWithin(yields)) return;
  int before = waiting;
  if (!state.compare_exchange_strong(before, asleep, std::memory_order_acq_rel)) return;
  while (!isCalled()) platform::sleepWhile(state, asleep);
}

// The place may be gone once its owner sees the call; to wake the owner only its address is needed.
int TurnLock::call(Place* next) {
  const int before = next->call();
  if (before == Place::asleep) platform::wakeSleeper(next->state);
  return before;
}

void TurnLock::join(Place& place) {
  (last ? last->next : first) = &place;
  last = &place;
  lastWho = place.who;
}

/// Makes the first in line the holder.
TurnLock::Place* TurnLock::callNext() {
  Place* const next = first;
  first = next ? next->next : nullptr;
  if (!first) last = nullptr;
  holder.store(next ? next->who : nullptr, std::memory_order_relaxed);
  return next;
}

void TurnLock::moveAhead(Who chosen) {
  if (first == last) return;
  Place* before = nullptr;     // the one in line ahead of the chosen
  Place* overtaken = nullptr;  // the last ahead of it that may not be overtaken again
  Place* place = first;
  for (; place && place->who != chosen; place = place->next) {
    if (place->overtaken) overtaken = place;
    before = place;
  }
  if (!place || before == overtaken) return;
  before->next = place->next;
  if (last == place) {
    last = before;
    lastWho = before->who;
  }
  Place*& ahead = overtaken ? overtaken->next : first;
  for (Place* at = ahead; at != place->next; at = at->next) at->overtaken = true;
  place->next = ahead;
  ahead = place;
}

void TurnLock::enter(Who who) {
  Place self;
  self.who = who;
  {
    const SpinTenure hold(gate);
    if (holder.load(std::memory_order_relaxed) == nullptr) {
      holder.store(who, std::memory_order_relaxed);
      return;
    }
    join(self);
    waiting.fetch_add(1, std::memory_order_relaxed);
  }
  self.await(kYields);
}

void TurnLock::leave() {
  Place* next = nullptr;
  {
    const SpinTenure hold(gate);
    next = callNext();
    if (next) waiting.fetch_sub(1, std::memory_order_relaxed);
  }
  if (next) call(next);
}

bool TurnLock::isInLine(Who who) {
  const SpinTenure hold(gate);
  if (first == last || lastWho == who) return first && lastWho == who;
  const Place* place = first;
  while (place && place->who != who) place = place->next;
  return place != nullptr;
}

void TurnLock::pass(Who chosen) {
  Place self;
  Place* next = nullptr;
  {
    const SpinTenure hold(gate);
    if (chosen) moveAhead(chosen);
    if (!first) return;
    self.who = holder.load(std::memory_order_relaxed);
    if (first == last) {
      // Only two take turns: they change places, and nothing of the other's is touched but its call.
      next = first;
      holder.store(lastWho, std::memory_order_relaxed);
      first = last = nullptr;
      join(self);
    } else {
      join(self);
      next = callNext();
    }
  }
  const int before = call(next);
  self.await(before == self.waiting ? 0 : before == Place::asleep ? kYieldsForSleeper : kYields);
}

// Only a holder offers, and only with nobody in line, so there is one offer at most.
void TurnLock::offer(int tries) {
  Place self;
  if (isAwaited()) return pass();
  {
    const SpinTenure hold(gate);
    self.who = holder.load(std::memory_order_relaxed);
    join(self);
    waiting.fetch_add(1, std::memory_order_relaxed);
    // Somebody came first meanwhile: the turn goes there.
    if (first != &self) {
      Place* const next = callNext();
      waiting.fetch_sub(1, std::memory_order_relaxed);
      call(next);
    } else {
      holder.store(nullptr, std::memory_order_relaxed);
    }
  }
  for (int i = 0; i < tries && holder.load(std::memory_order_relaxed) == nullptr; ++i) platform::yieldProcessor();
  {
    const SpinTenure hold(gate);
    if (holder.load(std::memory_order_relaxed) == nullptr) {
      callNext();
      waiting.fetch_sub(1, std::memory_order_relaxed);
      return;
    }
  }
  self.await(kYields);
}

}  // namespace ky

#include "platform/TurnLock.h"

#include <condition_variable>

#include "platform/Threads.h"

namespace ky::platform {
namespace {

// A turn that went to another core comes back within the pauses, or at least the yields. One that went to a thread of
// the same core comes back only if this one sleeps.
constexpr int kPauses = 32;
constexpr int kYields = 8;

inline void pause() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

}  // namespace

/// A waiter's place in line, on its own stack.
struct alignas(64) TurnLock::Place {
  enum State { inLine, asleep, called };

  void await(bool awake);
  void call();
  bool isCalled() const { return state.load(std::memory_order_acquire) == called; }
  bool awaitAwake() const;

  Who who = nullptr;
  Place* next = nullptr;
  bool overtaken = false;
  const int core = currentCore();
  std::atomic<State> state{inLine};
  std::mutex gate;
  std::condition_variable wake;
};

bool TurnLock::Place::awaitAwake() const {
  for (int i = 0; i < kPauses + kYields; ++i) {
    if (isCalled()) return true;
    i < kPauses ? pause() : yieldProcessor();
  }
  return false;
}

void TurnLock::Place::await(bool awake) {
  if (isCalled() || (awake && awaitAwake())) return;
  std::unique_lock hold(gate);
  State before = inLine;
  if (!state.compare_exchange_strong(before, asleep, std::memory_order_acq_rel)) return;
  wake.wait(hold, [&] { return isCalled(); });
}

// The place is gone once its owner sees the call, so an owner that sleeps is called under its gate.
void TurnLock::Place::call() {
  State before = inLine;
  if (state.compare_exchange_strong(before, called, std::memory_order_acq_rel)) return;
  const std::lock_guard hold(gate);
  state.store(called, std::memory_order_release);
  wake.notify_one();
}

void TurnLock::join(Place& place) {
  (last ? last->next : first) = &place;
  last = &place;
}

/// Makes the first in line the holder.
TurnLock::Place* TurnLock::callNext() {
  Place* const next = first;
  first = next ? next->next : nullptr;
  if (!first) last = nullptr;
  holder.store(next ? next->who : nullptr, std::memory_order_relaxed);
  return next;
}

bool TurnLock::callAhead(Who chosen) {
  Place* before = nullptr;     // the one in line ahead of the chosen
  Place* overtaken = nullptr;  // the last ahead of it that may not be overtaken again
  Place* place = first;
  for (; place && place->who != chosen; place = place->next) {
    if (place->overtaken) overtaken = place;
    before = place;
  }
  if (!place) return false;
  if (before == overtaken) return true;
  before->next = place->next;
  if (last == place) last = before;
  Place*& ahead = overtaken ? overtaken->next : first;
  for (Place* at = ahead; at != place->next; at = at->next) at->overtaken = true;
  place->next = ahead;
  ahead = place;
  return true;
}

void TurnLock::enter(Who who) {
  Place self;
  self.who = who;
  {
    const std::lock_guard hold(gate);
    if (holder.load(std::memory_order_relaxed) == nullptr) {
      holder.store(who, std::memory_order_relaxed);
      return;
    }
    join(self);
    waiting.fetch_add(1, std::memory_order_relaxed);
  }
  self.await(true);
}

void TurnLock::leave() {
  Place* next = nullptr;
  {
    const std::lock_guard hold(gate);
    next = callNext();
    if (next) waiting.fetch_sub(1, std::memory_order_relaxed);
  }
  if (next) next->call();
}

bool TurnLock::pass(Who chosen) {
  Place self;
  Place* next = nullptr;
  {
    const std::lock_guard hold(gate);
    if (chosen && !callAhead(chosen)) return false;
    if (!first) return true;
    self.who = holder.load(std::memory_order_relaxed);
    join(self);
    next = callNext();
  }
  const bool elsewhere = next->core != self.core;
  next->call();
  self.await(elsewhere);
  return true;
}

}  // namespace ky::platform

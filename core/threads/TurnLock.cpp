#include "core/threads/TurnLock.h"

#include "core/mem/SpinTenure.h"
#include "platform/Threads.h"

namespace ky {
namespace {

// A turn that went to another core comes back within the looks, or at least the yields. One that went to a thread of
// the same core comes back only if this one sleeps.
//
// A look takes the line away from whoever is about to write to it, which costs that one more than a look gains. So the
// first comes about when the turn could be back at the earliest, and the others stand apart.
constexpr int kPausesAtFirst = 8;
constexpr int kPausesBetween = 4;
constexpr int kLooks = 32;
constexpr int kYields = 8;

// One that slept takes so long to come up that who called it had better not sleep as well, or both would for ever.
constexpr int kYieldsForSleeper = 200;

}  // namespace

/// A waiter's place in line, on its own stack; under the gate but for `state`.
struct alignas(64) TurnLock::Place {
  enum State : int { awake, asleep, called };

  Who who = nullptr;
  Place* next = nullptr;
  int core = platform::currentCore();
  bool overtaken = false;
  std::atomic<int> state{awake};  ///< a sleeper's place stays until it is `called`
};

bool TurnLock::comesSoon(Who who, Patience patience) const {
  for (int look = 0; look < patience.looks; ++look) {
    for (int i = look == 0 ? kPausesAtFirst : kPausesBetween; i > 0; --i) platform::pauseProcessor();
    if (heldBy() == who) {
      __builtin_prefetch(this, 1);  // soon to be written to, when the turn goes on
      return true;
    }
  }
  for (int i = 0; i < patience.yields; ++i) {
    platform::yieldProcessor();
    if (heldBy() == who) return true;
  }
  return false;
}

void TurnLock::await(Place& self, Patience patience) {
  if (comesSoon(self.who, patience)) return;
  {
    const SpinTenure hold(gate);
    if (isHeldBy(self.who)) return;
    self.state.store(Place::asleep, std::memory_order_relaxed);
    ++sleepers;
  }
  while (self.state.load(std::memory_order_acquire) != Place::called) platform::sleepWhile(self.state, Place::asleep);
}

void TurnLock::join(Place& place) {
  (last ? last->next : first) = &place;
  last = &place;
  lastWho.store(place.who, std::memory_order_relaxed);
  lastCore = place.core;
}

/// Makes the first in line the holder; one that stands alone is not looked at, unless it sleeps.
TurnLock::Call TurnLock::callNext() {
  if (!first) {
    holder.store(nullptr, std::memory_order_relaxed);
    return {};
  }
  Place* const next = first;
  Call call;
  Who who = lastWho.load(std::memory_order_relaxed);
  call.core = lastCore;
  if (first == last) {
    first = last = nullptr;
    lastWho.store(nullptr, std::memory_order_relaxed);
  } else {
    who = next->who;
    call.core = next->core;
    first = next->next;
  }
  if (sleepers != 0 && next->state.load(std::memory_order_relaxed) == Place::asleep) {
    --sleepers;
    call.sleeper = next;
  }
  holder.store(who, std::memory_order_release);
  return call;
}

// The place is gone once its owner sees the call; to wake the owner only its address is needed.
void TurnLock::wake(Place* sleeper) {
  if (!sleeper) return;
  sleeper->state.store(Place::called, std::memory_order_release);
  platform::wakeSleeper(sleeper->state);
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
    lastWho.store(before->who, std::memory_order_relaxed);
    lastCore = before->core;
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
    if (isHeldBy(nullptr)) {
      holder.store(who, std::memory_order_relaxed);
      return;
    }
    join(self);
    waiting.fetch_add(1, std::memory_order_relaxed);
  }
  await(self, {kLooks, kYields});
}

void TurnLock::leave() {
  Call call;
  {
    const SpinTenure hold(gate);
    if (first) waiting.fetch_sub(1, std::memory_order_relaxed);
    call = callNext();
  }
  wake(call.sleeper);
}

bool TurnLock::isInLine(Who who) {
  if (lastWho.load(std::memory_order_relaxed) == who) return true;
  const SpinTenure hold(gate);
  const Place* place = first == last ? nullptr : first;
  while (place && place->who != who) place = place->next;
  return place != nullptr;
}

void TurnLock::pass(Who chosen) {
  Place self;
  Call call;
  {
    const SpinTenure hold(gate);
    if (chosen) moveAhead(chosen);
    if (!first) return;
    self.who = holder.load(std::memory_order_relaxed);
    call = callNext();
    join(self);
  }
  wake(call.sleeper);
  const bool sameCore = call.core == self.core;
  await(self, {sameCore ? 0 : kLooks, call.sleeper ? kYieldsForSleeper : sameCore ? 0 : kYields});
}

// Only a holder offers, and only with nobody in line, so there is one offer at most.
void TurnLock::offer(int tries) {
  if (isAwaited()) return pass();
  Place self;
  Call call;
  {
    const SpinTenure hold(gate);
    self.who = holder.load(std::memory_order_relaxed);
    // Somebody may have come first meanwhile: the turn goes there.
    const bool isFirst = !first;
    join(self);
    if (isFirst) {
      waiting.fetch_add(1, std::memory_order_relaxed);
      holder.store(nullptr, std::memory_order_relaxed);
    } else {
      call = callNext();
    }
  }
  wake(call.sleeper);
  for (int i = 0; i < tries && isHeldBy(nullptr); ++i) platform::yieldProcessor();
  {
    const SpinTenure hold(gate);
    if (isHeldBy(nullptr)) {
      callNext();
      waiting.fetch_sub(1, std::memory_order_relaxed);
      return;
    }
  }
  await(self, {kLooks, kYields});
}

}  // namespace ky

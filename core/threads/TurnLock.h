// A section whose threads take turns: first come, first served, and a holder may pass it to a chosen waiter.
#pragma once

#include <atomic>

#include "core/mem/SpinLock.h"

class KyCoreThread;

namespace ky {

/// One thread at a time holds it. Who that is, callers tell by the thread's object, at which nobody looks here.
///
/// Passing the turn is one step, so nobody slips in between; a passer joins the end of the line. A chosen waiter goes
/// ahead of the line, but overtakes nobody twice in one wait, so that two who pass it to each other starve nobody.
class TurnLock {
 public:
  using Who = KyCoreThread*;

  TurnLock() = default;
  TurnLock(const TurnLock&) = delete;
  TurnLock& operator=(const TurnLock&) = delete;

  /// Requires: `who` does not hold it.
  void enter(Who who);
  void leave();

  /// Tells whether `who` waits for its turn. What it tells the holder holds until the holder gives up its turn.
  bool isInLine(Who who);

  /// Passes the turn on and waits for the next; with nobody in line the holder keeps it.
  ///
  /// Requires: `chosen` is null or in line.
  void pass(Who chosen = nullptr);

  /// Passes the turn on as `pass` does; with nobody in line offers it for `tries` yields of the processor to whoever
  /// enters first, and stays in line behind that one.
  void offer(int tries);

  /// Returns:  null while nobody holds it. May be out of date, but for whether it is the caller.
  Who heldBy() const { return holder.load(std::memory_order_acquire); }
  bool isHeldBy(Who who) const { return holder.load(std::memory_order_relaxed) == who; }
  /// Tells whether anybody is in line. May be out of date.
  bool isAwaited() const { return waiting.load(std::memory_order_relaxed) != 0; }

 private:
  struct Place;

  /// What is to be known of the one who was made the holder.
  struct Call {
    Place* sleeper = nullptr;  ///< its place, if it is to be woken
    int core = -1;             ///< on which it was when it joined the line
  };

  /// How long a waiter stays awake: so many looks, then so many yields of the processor.
  struct Patience {
    int looks = 0;
    int yields = 0;
  };

  bool comesSoon(Who who, Patience patience) const;
  void await(Place& self, Patience patience);
  void join(Place& place);
  Call callNext();
  static void wake(Place* sleeper);
  void moveAhead(Who chosen);

  // All that a turn between two changes lies together, so that it takes one line of memory from core to core: they
  // wait by looking at the holder, and what is to be known of a line of one is told without a look at its place.
  SpinLock gate;
  int sleepers = 0;  ///< as all but the atomics, under the gate
  std::atomic<Who> holder{nullptr};
  Place* first = nullptr;
  Place* last = nullptr;
  std::atomic<Who> lastWho{nullptr};  ///< null with nobody in line
  int lastCore = -1;
  std::atomic<int> waiting{0};
};

}  // namespace ky

// A section whose threads take turns: first come, first served, and a holder may pass it to a chosen waiter.
#pragma once

#include <atomic>

#include "core/mem/SpinLock.h"

namespace ky {

/// One thread at a time holds it. Who that is, a caller tells by a pointer of its choice, one for each thread.
///
/// Passing the turn is one step, so nobody slips in between; a passer joins the end of the line. A chosen waiter goes
/// ahead of the line, but overtakes nobody twice in one wait, so that two who pass it to each other starve nobody.
class TurnLock {
 public:
  using Who = const void*;

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

  bool isHeldBy(Who who) const { return holder.load(std::memory_order_relaxed) == who; }
  /// Tells whether anybody is in line. May be out of date.
  bool isAwaited() const { return waiting.load(std::memory_order_relaxed) != 0; }

 private:
  struct Place;

  static int call(Place* next);
  void join(Place& place);
  Place* callNext();
  void moveAhead(Who chosen);

  SpinLock gate;
  Place* first = nullptr;  ///< as `last`, under the gate
  Place* last = nullptr;
  Who lastWho = nullptr;  ///< who stands last, so that a line of one is told without a look at it
  std::atomic<int> waiting{0};
  std::atomic<Who> holder{nullptr};
};

}  // namespace ky

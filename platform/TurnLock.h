// A section whose threads take turns: first come, first served, and a holder may pass it to a chosen waiter.
#pragma once

#include <atomic>
#include <mutex>

#include "core/base/KyTypes.h"

namespace ky::platform {

/// One thread at a time holds it. Who that is, a caller tells by a pointer of its choice, one for each thread.
///
/// Passing the turn is one step, so nobody slips in between; a passer joins the end of the line. A chosen waiter goes
/// ahead of the line, but overtakes nobody twice in one wait, so that two who pass it to each other starve nobody.
class KY_API TurnLock {
 public:
  using Who = const void*;

  TurnLock() = default;
  TurnLock(const TurnLock&) = delete;
  TurnLock& operator=(const TurnLock&) = delete;

  /// Requires: `who` does not hold it.
  void enter(Who who);
  void leave();

  /// Passes the turn on and waits for the next; with nobody in line the holder keeps it.
  ///
  /// Returns:  false, and nothing happened, if `chosen` is not null and not in line.
  bool pass(Who chosen = nullptr);

  bool isHeldBy(Who who) const { return holder.load(std::memory_order_relaxed) == who; }
  /// Tells whether anybody is in line. May be out of date.
  bool isAwaited() const { return waiting.load(std::memory_order_relaxed) != 0; }

 private:
  struct Place;

  void join(Place& place);
  Place* callNext();
  bool callAhead(Who chosen);

  std::mutex gate;
  Place* first = nullptr;  ///< as `last`, under the gate
  Place* last = nullptr;
  std::atomic<int> waiting{0};
  std::atomic<Who> holder{nullptr};
};

}  // namespace ky::platform

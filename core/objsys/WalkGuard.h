// One walk over a graph of objects at a time.
#pragma once

#include "core/error/Assert.h"

namespace ky {

/// Stands in the outer entry points of the walks that share the global visit counter; a second walk inside the first
/// would mark the first's objects as its own.
class WalkGuard {
 public:
  WalkGuard() : mine_(check(!walking, "no walk over objects is open")) {
    if (mine_) walking = true;
  }
  ~WalkGuard() {
    if (mine_) walking = false;
  }
  WalkGuard(const WalkGuard&) = delete;
  WalkGuard& operator=(const WalkGuard&) = delete;

 private:
  static bool walking;

  bool mine_;
};

}  // namespace ky

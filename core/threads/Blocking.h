// The frame around a wait: what a cooperative thread does so that the others may run meanwhile.
#pragma once

#include "core/base/KyTypes.h"

namespace ky {

/// What is called before and after a wait; null at load, when there are no cooperative threads.
struct BlockingHooks {
  Boolean (*aboutToBlock)() = nullptr;
  void (*doneBlocking)() = nullptr;
};
/// Returns:  the hooks that were in force.
KY_API BlockingHooks installBlockingHooks(const BlockingHooks& hooks);

/// Frames a wait for a scope.
class KY_API Blocking {
 public:
  Blocking();
  Blocking(const Blocking&) = delete;
  Blocking& operator=(const Blocking&) = delete;
  ~Blocking();

 private:
  void (*done)() = nullptr;
};

}  // namespace ky

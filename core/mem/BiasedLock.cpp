#include "core/mem/BiasedLock.h"

#include "platform/ProcessBarrier.h"

namespace ky {

constinit thread_local int tHere = 0;

void BiasedLock::favourHolder() {
  if (!platform::prepareProcessBarrier()) return;
  favours_ = true;
  favoured_.store(here(), std::memory_order_release);
}

void BiasedLock::revoke() {
  revoked_.store(true, std::memory_order_relaxed);
  platform::processBarrier();
  for (int tries = 0; (favoured_.load(std::memory_order_acquire) & kInside) != 0; ++tries) SpinLock::rest(tries);
  favours_ = false;
}

}  // namespace ky

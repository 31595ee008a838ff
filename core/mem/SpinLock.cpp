#include "core/mem/SpinLock.h"

#include <chrono>
#include <thread>

#include "platform/Threads.h"

namespace ky {

void SpinLock::lockSlow() {
  for (int tries = 0;; ++tries) {
    if (!taken_.load(std::memory_order_relaxed) && !taken_.exchange(true, std::memory_order_acquire)) return;
    rest(tries);
  }
}

// The holder is soon done unless its processor was taken away: then only sleeping helps.
void SpinLock::rest(int tries) {
  constexpr int kPauses = 64;
  constexpr int kYields = 1000;
  if (tries < kPauses) {
    platform::pauseProcessor();
  } else if (tries < kPauses + kYields) {
    std::this_thread::yield();
  } else {
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
}

}  // namespace ky

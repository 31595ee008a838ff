#include "core/mem/MemoryMutex.h"

#include "core/threads/Blocking.h"

namespace ky {

platform::RecursiveLock& memoryMutex() {
  static constinit platform::RecursiveLock mutex;
  return mutex;
}

void MemoryTenure::waitForMemoryMutex() {
  const Blocking blocking;
  memoryMutex().lock();
}

}  // namespace ky

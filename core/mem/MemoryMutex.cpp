#include "core/mem/MemoryMutex.h"

namespace ky {

platform::RecursiveLock& memoryMutex() {
  static constinit platform::RecursiveLock mutex;
  return mutex;
}

void MemoryTenure::waitForMemoryMutex() { memoryMutex().lock(); }

}  // namespace ky

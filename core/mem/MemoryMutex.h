// The memory mutex, which guards the toolbox's handle calls, the trace records and the low-memory values.
#pragma once

#include "core/base/KyTypes.h"
#include "platform/Locks.h"

namespace ky {

platform::RecursiveLock& memoryMutex();

/// What a cooperative thread does around a wait, so that the holder may get its turn; null at load.
struct BlockingHooks {
  void (*aboutToBlock)() = nullptr;
  void (*doneBlocking)() = nullptr;
};
KY_API void installBlockingHooks(const BlockingHooks& hooks);

/// Holds the memory mutex for a scope. A wait, but not a lock that is free, is framed by the hooks.
///
/// Order:    the memory mutex before the handle manager's lock.
class MemoryTenure {
 public:
  MemoryTenure() {
    if (!memoryMutex().tryLock()) waitForMemoryMutex();
  }
  ~MemoryTenure() { memoryMutex().unlock(); }
  MemoryTenure(const MemoryTenure&) = delete;
  MemoryTenure& operator=(const MemoryTenure&) = delete;

 private:
  static void waitForMemoryMutex();
};

}  // namespace ky

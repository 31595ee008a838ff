// The memory mutex, which guards the toolbox's handle calls, the trace records and the low-memory values.
#pragma once

#include "core/base/KyTypes.h"
#include "platform/Locks.h"

namespace ky {

platform::RecursiveLock& memoryMutex();

/// Holds the memory mutex for a scope. A wait for it, but not taking it when it is free, is framed as blocking.
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

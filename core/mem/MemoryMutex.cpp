#include "core/mem/MemoryMutex.h"

#include <atomic>

namespace ky {

namespace {

std::atomic<void (*)()> aboutToBlock{nullptr};
std::atomic<void (*)()> doneBlocking{nullptr};

}  // namespace

platform::RecursiveLock& memoryMutex() {
  static constinit platform::RecursiveLock mutex;
  return mutex;
}

void installBlockingHooks(const BlockingHooks& hooks) {
  aboutToBlock = hooks.aboutToBlock;
  doneBlocking = hooks.doneBlocking;
}

void MemoryTenure::waitForMemoryMutex() {
  if (auto* const about = aboutToBlock.load()) about();
  memoryMutex().lock();
  if (auto* const done = doneBlocking.load()) done();
}

}  // namespace ky

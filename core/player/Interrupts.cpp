#include "core/player/Interrupts.h"

#include "core/threads/KySynch.h"

namespace {

// Never destroyed: threads may outlive the static objects.
KyMutex& interruptLock() {
  static auto* const lock = new KyMutex;
  return *lock;
}

}  // namespace

void InterruptsInit() { interruptLock(); }

ULong InterruptsOff() {
  interruptLock().Lock(ky::kNoLimit);
  return 0;
}

void InterruptsOn(Long) { interruptLock().Unlock(); }

#include "core/threads/KyCoreThreadMutex.h"

#include <cstdio>
#include <new>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/OsPrintf.h"
#include "core/threads/CoreThreadState.h"
#include "platform/Debugger.h"
#include "platform/Locks.h"

using namespace ky;
using platform::Wait;

namespace {

constexpr char kMutexName[] = "--mname--";
constexpr char kThreadName[] = "tname";

void raiseAt(const char* code, const char* file, int line) {
  XError error(code);
  XError::FileLine{file, line} + error;
}

/// Leaves the exclusive section for a scope, if the caller is a core thread.
class Outside {
 public:
  explicit Outside(KyCoreThread* running) : thread(running) {
    if (thread) GetCoreThreadServer()->ReleaseExclusive(thread);
  }
  ~Outside() {
    if (thread) GetCoreThreadServer()->AcquireExclusive(thread);
  }
  Outside(const Outside&) = delete;
  Outside& operator=(const Outside&) = delete;

 private:
  KyCoreThread* thread;
};

/// Waits in slices, for at most `milliseconds`.
Wait lockInSlices(platform::RecursiveLock& lock, Int64 milliseconds, const platform::GiveUp& giveUp) {
  constexpr Int64 kSlice = 1000;
  if (milliseconds == platform::kForever) return lock.lockFor(platform::kForever, &giveUp);
  Int64 left = milliseconds;
  for (; left > kSlice; left -= kSlice) {
    const Wait got = lock.lockFor(kSlice, &giveUp);
    if (got != Wait::timedOut) return got;
  }
  return lock.lockFor(left, &giveUp);
}

/// Units:    `timeout` in microseconds; the result in milliseconds.
Int64 limitOf(Int64 timeout) {
  if (timeout == -1 || timeout == 0xFFFFFFFF) return platform::kForever;
  return timeout < 0 ? 0 : (timeout + 500) / 1000;
}

}  // namespace

KyCoreThreadMutex::KyCoreThreadMutex(MutexKind kind)
    : iKind(kind), iHandle(new (std::nothrow) platform::RecursiveLock) {}

KyCoreThreadMutex::~KyCoreThreadMutex() { delete iHandle; }

Boolean KyCoreThreadMutex::TryLock() {
  if (!iHandle) return false;
  const Wait got = iHandle->lockFor(0);
  if (got == Wait::timedOut) return false;
  if (got == Wait::abandoned) forgetOwner();
  iOwner.store(0, std::memory_order_relaxed);
  return true;
}

void KyCoreThreadMutex::Lock(const char* file, int line) {
  KyCoreThread* const running = runningCoreThread();
  if (!running) return raiseAt("THREAD_MUTEX_INTERNAL_ERROR", file, line);
  const ULong threadID = running->GetID();
  if (iKind != kRecursiveMutex && WasLockedBy(threadID) && mCount.load(std::memory_order_relaxed) > 0) {
    return raiseAt("THREAD_NONRECURSIVE_MUTEX_SELF_DEADLOCK", file, line);
  }
  if (!iHandle) return raiseAt("THREAD_WAIT_FAILED", file, line);
  const Wait got = iHandle->lockFor(0);
  if (got == Wait::abandoned) forgetOwner();
  if (got == Wait::timedOut) waitFor(running, file, line);
  iOwner.store(threadID, std::memory_order_relaxed);
  iFile = file;
  iLine = line;
  mCount.store(mCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  if (iTrace.load(std::memory_order_relaxed)) {
    trace("KyCoreThreadMutex %s  +++ %d [tid x%x vs x%x '%s'] @ %s:%d\n", threadID, file, line);
  }
}

/// Returns only with the mutex held.
void KyCoreThreadMutex::waitFor(KyCoreThread* running, const char* file, int line) {
  CoreThreadState& own = CoreThreadState::of(running);
  Wait got = Wait::timedOut;
  {
    const Outside outside(running);
    got = lockInSlices(*iHandle, limitOf(GetLockTimeout()), own.killDeferred);
  }
  if (got == Wait::abandoned) forgetOwner();
  if (got == Wait::interrupted) {
    own.raiseKillSignal();
    // Somebody took the signal back meanwhile.
    return waitFor(running, file, line);
  }
  if (got == Wait::timedOut) raiseAt("THREAD_MUTEX_TIMEOUT", file, line);
}

void KyCoreThreadMutex::Unlock(const char* file, int line) {
  KyCoreThread* const currentThread = runningCoreThread();
  if (!check(currentThread != nullptr, "currentThread")) return;
  const ULong threadID = currentThread->GetID();
  if (!WasLockedBy(threadID)) return fatal("THREAD_NOT_OWNER", file, line);
  const Long count = mCount.load(std::memory_order_relaxed) - 1;
  mCount.store(count, std::memory_order_relaxed);
  check(count >= 0, "mCount >= 0");
  if (count <= 0) forgetOwner();
  check(isCorrect(), "correct");
  if (iTrace.load(std::memory_order_relaxed)) {
    trace("KyCoreThreadMutex %s  --- %d [tid x%x vs x%x '%s'] @ %s:%d\n", threadID, file, line);
  }
  iHandle->unlock();
}

void KyCoreThreadMutex::Unlock(ULong threadID, const char* file, int line) {
  check(isCorrect(), "correct");
  check(!WasLockedBy(threadID), "thread_id != mOwner");
  if (!check(mCount > 0, "mCount > 0")) return;
  --mCount;
  check(mCount == 0, "mCount == 0");
  if (iTrace) trace("KyCoreThreadMutex %s  --- %d [tid x%x != x%x '%s'] @ %s:%d\n", threadID, file, line);
  forgetOwner();
  iHandle->forceUnlock();
}

void KyCoreThreadMutex::forgetOwner() {
  mCount.store(0, std::memory_order_relaxed);
  iOwner.store(0, std::memory_order_relaxed);
  iFile = nullptr;
  iLine = 0;
}

bool KyCoreThreadMutex::isCorrect() const { return (mCount == 0) == (iOwner == 0); }

void KyCoreThreadMutex::trace(const char* format, ULong threadID, const char* file, int line) const {
  char text[512];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(text, sizeof text, format, kMutexName, static_cast<int>(mCount.load()), threadID, iOwner.load(),
                kThreadName, file, line);
#pragma GCC diagnostic pop
  OsLog(text);
}

Boolean KyCoreThreadMutex::IsLockedByRunning() const {
  const KyCoreThread* const running = runningCoreThread();
  return running && WasLockedBy(running->GetID());
}

KyCoreThreadCriticalSection::KyCoreThreadCriticalSection() : iHandle(new platform::RecursiveLock) {}

KyCoreThreadCriticalSection::~KyCoreThreadCriticalSection() {
  succeeds([&] { check(mCount == 0, "mCount==0"); });
  delete iHandle;
}

void KyCoreThreadCriticalSection::Lock(const char* file, int line) {
  KyCoreThread* const running = runningCoreThread();
  Wait got = Wait::acquired;
  {
    const Outside outside(running);
    got = iHandle->lockFor(platform::kForever);
  }
  if (got == Wait::abandoned) forgetOwner();
  mOwner = running ? running->GetID() : 0;
  iFile = file;
  iLine = line;
  ++mCount;
}

void KyCoreThreadCriticalSection::Unlock(const char*, int) {
  KyCoreThread* const currentThread = runningCoreThread();
  if (currentThread && currentThread->GetID() != mOwner) {
    platform::debugBreak();
    check(false, "currentThread->GetID() == mOwner");
    return;
  }
  if (mCount > 0) --mCount;
  if (mCount > 0) return;
  forgetOwner();
  iHandle->forceUnlock();
}

void KyCoreThreadCriticalSection::Unlock(ULong, const char*, int) {
  forgetOwner();
  iHandle->forceUnlock();
}

void KyCoreThreadCriticalSection::forgetOwner() {
  mCount = 0;
  mOwner = 0;
  iFile = nullptr;
  iLine = 0;
}

KyCoreThreadEvent::KyCoreThreadEvent() : iHandle(new platform::Event) {}

KyCoreThreadEvent::~KyCoreThreadEvent() { delete iHandle; }

void KyCoreThreadEvent::AddSubscriber(KyCoreThread* thread, Int64*) {
  CoreThreadState* const own = thread ? &CoreThreadState::of(thread) : nullptr;
  Wait got = Wait::interrupted;
  while (got == Wait::interrupted) {
    {
      const Outside outside(thread);
      got = iHandle->waitFor(platform::kForever, own ? &own->killDeferred : nullptr);
    }
    if (got == Wait::interrupted && own) own->raiseKillSignal();
  }
}

void KyCoreThreadEvent::RemoveSubscriber(KyCoreThread*) {}

void KyCoreThreadEvent::SignalSubscriber() { iHandle->pulse(); }

void KyCoreThreadEvent::BroadcastSubscribers() { iHandle->set(); }

KyCoreThreadTimer::KyCoreThreadTimer() = default;

KyCoreThreadTimer::~KyCoreThreadTimer() = default;

KyAutoLockCS::KyAutoLockCS(KyCoreThreadCriticalSection* section, const char* file, int line) : iSection(section) {
  if (iSection) iSection->Lock(file, line);
}

KyAutoLockCS::~KyAutoLockCS() {
  if (iSection) iSection->Unlock();
}

KyAutoLockThreadMutex::KyAutoLockThreadMutex(KyCoreThreadMutex* mutex, const char* file, int line) : iMutex(mutex) {
  if (iMutex) iMutex->Lock(file, line);
}

KyAutoLockThreadMutex::~KyAutoLockThreadMutex() {
  if (iMutex) iMutex->Unlock();
}

bool IsLockedOnThisThread(KyCoreThreadMutex* mutex) { return mutex->IsLockedByRunning(); }

void ShouldOwnAndLock(KyCoreThreadMutex* mutex) {
  check(IsLockedOnThisThread(mutex), "compaline here");
  mutex->Lock();
}

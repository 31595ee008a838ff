// Mutex, critical section and event that know about core threads: whoever waits lets the cooperative threads run.
#pragma once

#include <atomic>

#include "core/base/KyTypes.h"
#include "core/threads/KyCoreThread.h"

namespace ky::platform {
class Event;
class RecursiveLock;
}  // namespace ky::platform

enum MutexKind : Long {
  kNonrecursiveMutex = 0,
  kRecursiveMutex = 1,
};

/// Only core threads lock it. One that is left behind by a thread that ended counts as acquired by the next.
class KY_API KyCoreThreadMutex : public KyCoreThreadResource {
 public:
  /// Units:    microseconds; in effect no limit.
  static constexpr Int64 kDefaultTimeout = 4611686014132420609;

  explicit KyCoreThreadMutex(MutexKind kind = kRecursiveMutex);

  // Slots in order: destructor, TryLock, Lock, Unlock by thread, Unlock.
  ~KyCoreThreadMutex() override;
  /// Takes a level that has no owner and that nobody can give back. Do not use: set a time-out of 0 and expect
  /// THREAD_MUTEX_TIMEOUT instead.
  virtual Boolean TryLock();
  /// Raises:   THREAD_MUTEX_INTERNAL_ERROR if the caller is no core thread; THREAD_NONRECURSIVE_MUTEX_SELF_DEADLOCK;
  ///           THREAD_MUTEX_TIMEOUT; THREAD_WAIT_FAILED; KILL_THREAD_SIGNAL if the caller is killed as it waits.
  virtual void Lock(const char* file = __builtin_FILE(), int line = __builtin_LINE());
  /// Frees it for the thread that holds it and cannot.
  ///
  /// Requires: "correct", "thread_id != mOwner", "mCount > 0", "mCount == 0" after one level.
  virtual void Unlock(ULong threadID, const char* file, int line);
  /// Requires: "currentThread"; else than for its owner it is fatal, THREAD_NOT_OWNER.
  virtual void Unlock(const char* file = __builtin_FILE(), int line = __builtin_LINE());

  /// Units:    microseconds; -1 has no limit.
  void SetLockTimeout(Int64 timeout) { iLockTimeout.store(timeout, std::memory_order_relaxed); }
  Int64 GetLockTimeout() const { return iLockTimeout.load(std::memory_order_relaxed); }
  /// What the mutex guards, for its users to keep here.
  void SetTheResource(void* resource) { iResource.store(resource, std::memory_order_release); }
  void* GetTheResource() const { return iResource.load(std::memory_order_acquire); }
  void SetTrace(Boolean trace) { iTrace.store(trace, std::memory_order_relaxed); }

  Boolean IsLockedByRunning() const;
  Boolean WasLockedBy(ULong threadID) const { return iOwner.load(std::memory_order_relaxed) == threadID; }
  Boolean WasLocked() const { return iOwner.load(std::memory_order_relaxed) != 0; }

 private:
  void waitFor(KyCoreThread* running, const char* file, int line);
  void forgetOwner();
  bool isCorrect() const;
  void trace(const char* format, ULong threadID, const char* file, int line) const;

  const char* iFile = nullptr;  ///< as the line and the owner, changed by the holder only
  int iLine = 0;
  std::atomic<ULong> iOwner{0};
  std::atomic<void*> iResource{nullptr};
  std::atomic<Int64> iLockTimeout{kDefaultTimeout};
  std::atomic<Long> mCount{0};
  MutexKind iKind = kRecursiveMutex;
  std::atomic<Boolean> iTrace{false};
  ky::platform::RecursiveLock* iHandle = nullptr;
};

/// A mutex without limit or trace; locking it always hands over, whether it is free or not.
class KY_API KyCoreThreadCriticalSection : public KyCoreThreadResource {
 public:
  KyCoreThreadCriticalSection();

  // Slots in order: destructor, Lock, Unlock, Unlock by thread.
  /// Requires: "mCount==0".
  ~KyCoreThreadCriticalSection() override;
  virtual void Lock(const char* file = __builtin_FILE(), int line = __builtin_LINE());
  /// Requires: "currentThread->GetID() == mOwner".
  virtual void Unlock(const char* file = __builtin_FILE(), int line = __builtin_LINE());
  /// Frees all levels at once, whoever holds them.
  virtual void Unlock(ULong threadID, const char* file, int line);

 private:
  void forgetOwner();

  const char* iFile = nullptr;
  int iLine = 0;
  std::atomic<ULong> mOwner{0};
  std::atomic<Long> mCount{0};
  ky::platform::RecursiveLock* iHandle = nullptr;
};

/// Something to wait for.
class KY_API KyCoreThreadEvent : public KyCoreThreadResource {
 public:
  KyCoreThreadEvent();

  // Slots in order: destructor, AddSubscriber, RemoveSubscriber, SignalSubscriber, BroadcastSubscribers.
  ~KyCoreThreadEvent() override;
  /// Makes the calling thread, which is `thread`, wait, without limit: `timeout` has no effect.
  ///
  /// Raises:   KILL_THREAD_SIGNAL if the thread is killed as it waits.
  virtual void AddSubscriber(KyCoreThread* thread, Int64* timeout);
  /// Does nothing: who waits is known only to the wait.
  virtual void RemoveSubscriber(KyCoreThread* thread);
  /// Lets those pass who wait now. The event is not set afterwards.
  virtual void SignalSubscriber();
  /// Lets all pass, from now on.
  virtual void BroadcastSubscribers();

 private:
  ky::platform::Event* iHandle = nullptr;
};

class KY_API KyCoreThreadTimer : public KyCoreThreadResource {
 public:
  KyCoreThreadTimer();
  ~KyCoreThreadTimer() override;
};

/// Holds a critical section for a scope; null holds nothing.
class KY_API KyAutoLockCS {
 public:
  explicit KyAutoLockCS(KyCoreThreadCriticalSection* section, const char* file = __builtin_FILE(),
                        int line = __builtin_LINE());
  KyAutoLockCS(const KyAutoLockCS&) = delete;
  KyAutoLockCS& operator=(const KyAutoLockCS&) = delete;
  ~KyAutoLockCS();

 private:
  KyCoreThreadCriticalSection* iSection = nullptr;
};

/// Holds a mutex for a scope; null holds nothing.
class KY_API KyAutoLockThreadMutex {
 public:
  explicit KyAutoLockThreadMutex(KyCoreThreadMutex* mutex, const char* file = __builtin_FILE(),
                                 int line = __builtin_LINE());
  KyAutoLockThreadMutex(const KyAutoLockThreadMutex&) = delete;
  KyAutoLockThreadMutex& operator=(const KyAutoLockThreadMutex&) = delete;
  ~KyAutoLockThreadMutex();

 private:
  KyCoreThreadMutex* iMutex = nullptr;
};

/// Tells whether the calling core thread holds it.
KY_API bool IsLockedOnThisThread(KyCoreThreadMutex* mutex);
/// States that the caller holds it, and locks it once more.
///
/// Requires: "compaline here".
KY_API void ShouldOwnAndLock(KyCoreThreadMutex* mutex);

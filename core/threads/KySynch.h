// Native mutex and semaphore, and waits for several of them, for code outside the core threads.
//
//   KyMutexTenure hold(mutex, ky::kNoLimit);
//
// A wait that cannot be served at once lets the other cooperative threads run.
#pragma once

#include <atomic>

#include "core/base/KyTypes.h"

namespace ky {
inline constexpr ULong kNoLimit = 0xFFFFFFFF;  ///< milliseconds of a wait that has no limit

namespace platform {
class RecursiveLock;
class Semaphore;
class Waitable;
}  // namespace platform
}  // namespace ky

/// What can be waited for.
///
/// Units:    a wait is given in milliseconds; 0 does not wait, 0xFFFFFFFF has no limit.
/// Returns:  of each wait: 0 for acquired, 1 for timed out, -1 for failed.
class KY_API KySynch {
 public:
  virtual ~KySynch() = default;

  // Slots in order: Lock, Unlock, GetPlatformObject.
  virtual Long Lock(ULong milliseconds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) = 0;
  virtual void Unlock(const char* file = __builtin_FILE(), int line = __builtin_LINE()) = 0;
  virtual ky::platform::Waitable* GetPlatformObject() = 0;

 protected:
  KySynch() = default;
  KySynch(const KySynch&) = delete;
  KySynch& operator=(const KySynch&) = delete;
};

/// A mutex that its holder may lock again. One that is left behind by a thread that ended counts as acquired by the
/// next to lock it.
class KY_API KyMutex : public KySynch {
 public:
  /// Raises:   "KyMutex constructor cannot create mutex".
  /// Borrows:  `name`, which only the trace shows, for the life of the mutex.
  explicit KyMutex(Boolean trace = false, const char* name = nullptr);
  ~KyMutex() override;

  Long Lock(ULong milliseconds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) override;
  /// Raises:   "KyMutex::Unlock cannot release mutex" with "int err", "str _dbg_locker_file_name" and
  ///           "int _dbg_locker_line_no", if the caller does not hold it.
  void Unlock(const char* file = __builtin_FILE(), int line = __builtin_LINE()) override;
  ky::platform::Waitable* GetPlatformObject() override;

  void SetTrace(Boolean trace) { iTrace = trace; }

 private:
  void* iHandle = nullptr;
  const char* iLockerFile = nullptr;  ///< as the line, the holder's to touch
  int iLockerLine = 0;
  const char* iName = nullptr;
  std::atomic<Boolean> iTrace{false};
};

/// Holds a mutex for a scope.
class KY_API KyMutexTenure {
 public:
  /// Raises:   "KyMutexTenure: could NOT LOCK mutex.".
  explicit KyMutexTenure(KyMutex& mutex, ULong milliseconds = ky::kNoLimit, const char* file = __builtin_FILE(),
                         int line = __builtin_LINE());
  KyMutexTenure(const KyMutexTenure&) = delete;
  KyMutexTenure& operator=(const KyMutexTenure&) = delete;
  ~KyMutexTenure();

 private:
  KyMutex& iMutex;
  const char* iFile = nullptr;
  int iLine = 0;
};

/// Counts what may be taken, from 0 up to a limit.
///
/// Threads:  any. What `IsSet` tells may be out of date by the time it is read.
class KY_API KySema : public KySynch {
 public:
  /// Starts at 0.
  explicit KySema(ULong maxItems);
  ~KySema() override;

  /// Takes one.
  Long Lock(ULong milliseconds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) override;
  /// Gives one.
  ///
  /// Raises:   "KySema::Unlock: could not increment semaphore." at the limit.
  void Unlock(const char* file = __builtin_FILE(), int line = __builtin_LINE()) override;
  ky::platform::Waitable* GetPlatformObject() override;

  void Increment(const char* file = __builtin_FILE(), int line = __builtin_LINE()) { Unlock(file, line); }
  Long Decrement(ULong milliseconds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    return Lock(milliseconds, file, line);
  }
  /// Gives one if there is none, in one step.
  void Set();
  Boolean IsSet() const;
  /// Takes all.
  ///
  /// Raises:   "KySema::Reset: error" with "long status".
  void Reset();

 private:
  ULong iMaxItems = 0;
  ky::platform::Semaphore* iSemaphore = nullptr;  ///< owned; keeps the count
};

/// Mutexes by a cell that the caller keeps.
///
/// Returns:  0 or the system's error.
KY_API Long KyMutex_init(void** cell);
KY_API Long KyMutex_destroy(void** cell);
/// Does not wait.
///
/// Returns:  0, or -1 if somebody else holds it.
KY_API Long KyMutex_acquire(void** cell);
KY_API Long KyMutex_release(void** cell);
/// Returns:  0 if the caller could take it, else 1.
KY_API Long KyMutex_stat(void** cell);
KY_API Long KyMutex_spin_lock(void** cell);
KY_API Long KyMutex_wait(void** cell, ULong milliseconds);

/// Waits for one of `objects` or, with `waitAll`, until all can be taken in one step.
///
/// Requires: "nCount <= MAXIMUM_WAIT_OBJECTS", which is 64.
/// Returns:  as a wait for one object; without `waitAll`, `*index` is the position of the object that was taken.
KY_API Long KyWaitMultiple(ULong count, KySynch** objects, Boolean waitAll, Long* index, ULong milliseconds);
KY_API Long KyWaitForBoth(KySynch* a, KySynch* b, ULong milliseconds);
/// `*which`, unless `which` is null, is the object that was taken, or null.
KY_API Long KyWaitForEither(KySynch* a, KySynch* b, KySynch** which, ULong milliseconds);

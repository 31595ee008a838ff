#include "core/threads/KySynch.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>

#include "core/error/Assert.h"
#include "core/error/OsPrintf.h"
#include "core/error/XError.h"
#include "core/threads/Blocking.h"
#include "platform/Locks.h"

using namespace ky;
using platform::RecursiveLock;
using platform::Semaphore;
using platform::Wait;
using platform::Waitable;

namespace {

constexpr Long kAcquired = 0;
constexpr Long kTimedOut = 1;
constexpr Long kFailed = -1;

// The system's errors, by the numbers that callers know.
constexpr Long kOutOfMemory = 8;
constexpr Long kBadHandle = 6;
constexpr Long kNotOwner = 288;

constexpr ULong kMostObjects = 64;
constexpr ULong kMostItems = 0x7FFFFFFF;

RecursiveLock* lockIn(void* const* cell) { return cell ? static_cast<RecursiveLock*>(*cell) : nullptr; }

Int64 limitOf(ULong milliseconds) { return milliseconds == kNoLimit ? platform::kForever : Int64{milliseconds}; }

Long statusOf(Wait wait) { return wait == Wait::timedOut ? kTimedOut : kAcquired; }

/// Tries without waiting, and frames what must wait. `wait` takes the milliseconds.
template <class TryAndWait>
Wait framed(ULong milliseconds, TryAndWait wait) {
  const Wait atOnce = wait(Int64{0});
  if (atOnce != Wait::timedOut || milliseconds == 0) return atOnce;
  const Blocking blocking;
  return wait(limitOf(milliseconds));
}

template <CellValue... List>
void raiseAt(const char* file, int line, const char* code, List... parameters) {
  XError error(code, parameters..., 0);
  XError::FileLine{file, line} + error;
}

}  // namespace

Long KyMutex_init(void** cell) {
  if (!cell) return kBadHandle;
  *cell = new (std::nothrow) RecursiveLock;
  return *cell ? 0 : kOutOfMemory;
}

Long KyMutex_destroy(void** cell) {
  RecursiveLock* const lock = lockIn(cell);
  if (!lock) return kBadHandle;
  delete lock;
  *cell = nullptr;
  return 0;
}

Long KyMutex_acquire(void** cell) {
  RecursiveLock* const lock = lockIn(cell);
  return lock && lock->tryLock() ? kAcquired : kFailed;
}

Long KyMutex_release(void** cell) {
  RecursiveLock* const lock = lockIn(cell);
  if (!lock) return kBadHandle;
  return lock->unlock() ? 0 : kNotOwner;
}

Long KyMutex_stat(void** cell) {
  if (KyMutex_acquire(cell) != kAcquired) return 1;
  KyMutex_release(cell);
  return 0;
}

Long KyMutex_spin_lock(void** cell) { return KyMutex_wait(cell, kNoLimit); }

Long KyMutex_wait(void** cell, ULong milliseconds) {
  RecursiveLock* const lock = lockIn(cell);
  if (!lock) return kFailed;
  return statusOf(framed(milliseconds, [&](Int64 limit) { return lock->lockFor(limit); }));
}

KyMutex::KyMutex(Boolean trace, const char* name) : iName(name ? name : ""), iTrace(trace) {
  const Long err = KyMutex_init(&iHandle);
  if (err != 0) +XError("KyMutex constructor cannot create mutex", "int err", err, 0);
  if (iTrace) OsPrintf("KyMutex: constructed %s", iName);
}

KyMutex::~KyMutex() { KyMutex_destroy(&iHandle); }

Long KyMutex::Lock(ULong milliseconds, const char* file, int line) {
  const Long status = KyMutex_wait(&iHandle, milliseconds);
  if (status == kAcquired) {
    iLockerFile = file;
    iLockerLine = line;
  }
  if (iTrace) {
    OsPrintf("KyMutex: Locked %s, status = %ld, locker=%s, line=%ld", iName, static_cast<long>(status), file,
             static_cast<long>(line));
  }
  return status;
}

void KyMutex::Unlock(const char* file, int line) {
  const bool mine = lockIn(&iHandle)->isHeldByCaller();
  const char* const lockerFile = mine ? iLockerFile : "";
  const int lockerLine = mine ? iLockerLine : 0;
  const Long err = KyMutex_release(&iHandle);
  if (iTrace) {
    OsPrintf("KyMutex: Unlocked %s, err = %ld, unlocker=%s, line=%ld", iName, static_cast<long>(err), file,
             static_cast<long>(line));
  }
  if (err == 0) return;
  raiseAt(file, line, "KyMutex::Unlock cannot release mutex", "int err", err, "str _dbg_locker_file_name", lockerFile,
          "int _dbg_locker_line_no", lockerLine);
}

Waitable* KyMutex::GetPlatformObject() { return lockIn(&iHandle); }

KyMutexTenure::KyMutexTenure(KyMutex& mutex, ULong milliseconds, const char* file, int line)
    : iMutex(mutex), iFile(file), iLine(line) {
  if (iMutex.Lock(milliseconds, file, line) != 0) raiseAt(file, line, "KyMutexTenure: could NOT LOCK mutex.");
}

KyMutexTenure::~KyMutexTenure() { iMutex.Unlock(iFile, iLine); }

KySema::KySema(ULong maxItems) : iMaxItems(std::min(maxItems, kMostItems)), iSemaphore(new Semaphore) {}

KySema::~KySema() { delete iSemaphore; }

Long KySema::Lock(ULong milliseconds, const char*, int) {
  return statusOf(framed(milliseconds, [&](Int64 limit) { return iSemaphore->takeFor(limit); }));
}

void KySema::Unlock(const char* file, int line) {
  if (!iSemaphore->give(iMaxItems)) raiseAt(file, line, "KySema::Unlock: could not increment semaphore.");
  check(iSemaphore->count() <= iMaxItems, "iCount <= iMaxItems");
}

Waitable* KySema::GetPlatformObject() { return iSemaphore; }

void KySema::Set() { iSemaphore->give(std::min(iMaxItems, ULong{1})); }

Boolean KySema::IsSet() const { return iSemaphore->count() != 0; }

void KySema::Reset() {
  constexpr ULong kPatience = 2000;
  while (IsSet()) {
    const Long status = Lock(kPatience);
    if (status != 0) +XError("KySema::Reset: error", "long status", status, 0);
  }
}

Long KyWaitMultiple(ULong count, KySynch** objects, Boolean waitAll, Long* index, ULong milliseconds) {
  if (!check(count <= kMostObjects, "nCount <= MAXIMUM_WAIT_OBJECTS") || count == 0) return kFailed;
  std::array<Waitable*, kMostObjects> places = {};
  std::transform(objects, objects + count, places.begin(), [](KySynch* object) { return object->GetPlatformObject(); });
  const std::span<Waitable* const> all(places.data(), count);
  std::size_t which = 0;
  if (waitAll) {
    std::array<Waitable*, kMostObjects> sorted = places;
    const auto end = sorted.begin() + count;
    std::sort(sorted.begin(), end);
    if (std::adjacent_find(sorted.begin(), end) != end) return kFailed;  // nothing can be had twice in one step
  }
  const Wait got = framed(milliseconds, [&](Int64 limit) {
    return waitAll ? platform::waitForAll(all, limit) : platform::waitForAny(all, limit, which);
  });
  if (got == Wait::interrupted) +XError("KyWaitMultiple: unexpected return from WaitForMultipleObjects");
  if (!waitAll && index && got != Wait::timedOut) *index = static_cast<Long>(which);
  return statusOf(got);
}

Long KyWaitForBoth(KySynch* a, KySynch* b, ULong milliseconds) {
  KySynch* both[] = {a, b};
  return KyWaitMultiple(2, both, true, nullptr, milliseconds);
}

Long KyWaitForEither(KySynch* a, KySynch* b, KySynch** which, ULong milliseconds) {
  KySynch* both[] = {a, b};
  Long index = 0;
  if (which) *which = nullptr;
  const Long status = KyWaitMultiple(2, both, false, &index, milliseconds);
  if (status == 0 && which) *which = both[index];
  return status;
}

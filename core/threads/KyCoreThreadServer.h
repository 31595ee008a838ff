// The server of core threads: cooperative threads take turns under it, preemptive ones run beside them.
//
// A cooperative thread runs only while it holds the server's exclusive section. It gives it up where it yields, sleeps
// or waits, and nowhere else, so that what only cooperative threads share needs no lock. Turns go in the order in which
// they were asked for.
#pragma once

#include <atomic>

#include "core/base/KyTypes.h"
#include "core/threads/KyCoreThread.h"

class KyCoreThreadCriticalSection;
class KyCoreThreadEvent;
class KyCoreThreadMutex;

namespace ky {
struct ServerSections;
}

/// Asks for a built-in value by its number.
using GestaltCode_t = Long;

/// The values that the server keeps for new threads.
struct Defaults_t {
  Long code2 = 1;
  Long code3 = 1;
  Long stackSize = 1'048'576;
  KyCoreThreadType threadType = KyCoreThread_Cooperative;
  unsigned char code10 = 0;
  unsigned char code11 = 0;
  unsigned char code12 = 0;
  float priority = 50;
};

/// Lock order: the server's critical section before the master mutex. Nobody yields in the former.
class KY_API KyCoreThreadServerBase {
 public:
  KyCoreThreadServerBase();
  KyCoreThreadServerBase(const KyCoreThreadServerBase&) = delete;
  KyCoreThreadServerBase& operator=(const KyCoreThreadServerBase&) = delete;

  // Slots in order: SetMainThread, destructor, GetMasterMutex, GetRunningThread, GetMainThread, SleepThread,
  // RunCooperativeThreads, YieldToOthers, YieldToAllThreads, Join, FindThread, RegisterThread, UnregisterThread,
  // IsInServerCriticalSection, BeginServerCriticalSection, EndServerCriticalSection, SuspendThread, ResumeThread,
  // YieldTo, AbortThread, TerminateThread, ChooseRunningThread, SuspendCurrentThread, ThreadIsCreated, ThreadIsDeleted,
  // SwitchIn, SwitchOut, ThreadIsSuspended, CreateSimpleMutex, CreateSimpleEvent, CreateSimpleCriticalSection,
  // RaiseException, DeferException, ClearDeferredExceptions, CreateExceptionContainer, Shutdown, GetPriority,
  // SetPriority, GetDefaultPriority, SetDefaultPriority, RestoreDefaultPriority, ReleaseExclusive, AcquireExclusive,
  // preconditions, postconditions.

  /// Requires: "mMainThread == NULL".
  virtual void SetMainThread(KyCoreThread* thread);
  virtual ~KyCoreThreadServerBase();
  virtual KyCoreThreadMutex* GetMasterMutex();
  /// Returns:  the calling thread's object, or null.
  virtual KyCoreThread* GetRunningThread();
  virtual KyCoreThread* GetMainThread();
  /// Sleeps the calling thread, which is `thread`; only an error that is deferred to it ends that early.
  virtual void SleepThread(KyCoreThread* thread, Int64 microseconds);
  /// Yields for a time; with `untilAlone` no longer than two threads are not suspended.
  ///
  /// Requires: "!IsInServerCriticalSection()".
  /// Returns:  microseconds by which the time was overrun.
  virtual Int64 RunCooperativeThreads(Int64 microseconds, Boolean untilAlone);
  /// Requires: "!IsInServerCriticalSection()".
  /// Returns:  microseconds that the others used.
  virtual Int64 YieldToOthers();
  virtual Int64 YieldToAllThreads();
  /// Yields until `thread` is done. It may still be ending then: KillThead() waits for its end.
  ///
  /// Raises:   KILL_THREAD_SIGNAL if the caller is killed as it waits.
  virtual void Join(KyCoreThread* thread);
  /// Returns:  the thread of that number, or null.
  virtual KyCoreThread* FindThread(ULong threadID);
  virtual void RegisterThread(KyCoreThread* thread);
  virtual void UnregisterThread(KyCoreThread* thread);
  virtual Boolean IsInServerCriticalSection();
  virtual void BeginServerCriticalSection(const char* file = __builtin_FILE(), int line = __builtin_LINE());
  virtual void EndServerCriticalSection();
  /// Makes the calling thread stand still until it is resumed or an error is deferred to it. Any other than the calling
  /// one stops at its next turn, if the handler of the failed check goes on.
  ///
  /// Requires: "thread == GetRunningThread()".
  virtual void SuspendThread(KyCoreThread* thread);
  virtual void ResumeThread(KyCoreThread* thread);
  /// Passes the turn: to `target` if it waits for one, else to the first in line. With nobody to take it the caller
  /// goes on at once. With `comeBack` the next yield to nobody in particular comes back to the caller. In the server's
  /// critical section a yield to a target comes at the section's end, and any other not at all.
  ///
  /// Requires: "target->mContext && target->mContext->GetCoreThreadObject() == target".
  virtual void YieldTo(KyCoreThread* target, Boolean comeBack);
  virtual void AbortThread(KyCoreThread* thread);
  virtual void TerminateThread(KyCoreThread* thread);
  /// Returns:  null: turns go in order.
  virtual KyCoreThread* ChooseRunningThread();
  virtual void SuspendCurrentThread();
  virtual void ThreadIsCreated(KyCoreThread* thread);
  virtual void ThreadIsDeleted(KyCoreThread* thread);
  virtual void SwitchIn(KyCoreThread* thread);
  virtual void SwitchOut(KyCoreThread* thread);
  virtual Boolean ThreadIsSuspended(KyCoreThread* thread);
  /// Owns:     the caller, as of all that is created here.
  virtual KyCoreThreadMutex* CreateSimpleMutex();
  virtual KyCoreThreadEvent* CreateSimpleEvent();
  virtual KyCoreThreadCriticalSection* CreateSimpleCriticalSection();
  virtual Long RaiseException(KyCoreThread* target, const XError& error);
  virtual void DeferException(KyCoreThread* target, const XError& error);
  virtual void ClearDeferredExceptions(KyCoreThread* target);
  virtual ExceptionContainer* CreateExceptionContainer(const XError& error);
  /// Does nothing: whoever owns a thread kills it.
  virtual void Shutdown();
  /// Units:    priorities from 0 to 100. They are kept, and mean nothing to a system whose threads share alike.
  /// Returns:  10, 30, 50, 70 or 90.
  virtual float GetPriority(KyCoreThread* thread);
  virtual void SetPriority(KyCoreThread* thread, float priority);
  virtual float GetDefaultPriority(KyCoreThread* thread);
  virtual void SetDefaultPriority(KyCoreThread* thread, float priority);
  virtual void RestoreDefaultPriority(KyCoreThread* thread);
  /// Leaves the exclusive section; each call is to be matched by one of `AcquireExclusive`, and between a pair further
  /// pairs do nothing. A preemptive thread only tells by it where it stands.
  virtual void ReleaseExclusive(KyCoreThread* thread);
  virtual void AcquireExclusive(KyCoreThread* thread);
  virtual void preconditions(KyCoreThread* thread);
  virtual void postconditions(KyCoreThread* thread);

  /// Requires: a code from 0 to 13.
  Long GetDefaultValue(GestaltCode_t code) const;
  void GetDefaultThreadAttr(KyCoreThreadAttr* attr) const;
  Long GetThreadCount() const { return iThreadCount.load(std::memory_order_relaxed); }
  KyCoreThread* GetCurrentCoopThread() const;

 protected:
  ky::ServerSections* const iSections;

  /// Keeps the operating system's level for the thread.
  void SetWin32Priority(KyCoreThread* thread, int level);
  void linkThread(KyCoreThread* thread, ThreadContext* context);
  void awaitResumption(KyCoreThread* thread);
  void standStill(KyCoreThread* thread, bool unlessWoken);

 private:
  void adoptMainThread(KyCoreThread* thread);
  void startThread(KyCoreThread* thread);
  void stopFromOutside(KyCoreThread* thread);
  void beforeTurnEnds(KyCoreThread* thread);
  void afterTurnBegan(KyCoreThread* thread);
  KyCoreThread* aimOfYield(KyCoreThread* target, Boolean comeBack);
  void passTurn(KyCoreThread* thread, KyCoreThread* target);
  void letOthersTry(KyCoreThread* target);
  bool sleepEndsEarly(KyCoreThread* thread, Int64 milliseconds);
  Long countNotSuspended();

  std::atomic<KyCoreThread*> mMainThread{nullptr};
  KyCoreThread* iThreads = nullptr;  ///< as all but the atomics, in the server's critical section
  ULong iPendingYield = 0;
  std::atomic<ULong> iReturnYield{0};
  std::atomic<Long> iThreadCount{0};
  Long iCriticalSectionDepth = 0;
  KyCoreThreadMutex* iMasterMutex = nullptr;
  Defaults_t iDefaults;
  std::atomic<ULong> mCriticalSectionOwner{0};
};

class KY_API KyCoreThreadServer : public KyCoreThreadServerBase {
 public:
  // Slots in order: AboutToBlock, DoneBlocking.

  /// Leaves the exclusive section for a wait, if `thread` is cooperative; pairs nest.
  ///
  /// Returns:  1.
  virtual Boolean AboutToBlock(KyCoreThread* thread);
  virtual void DoneBlocking(KyCoreThread* thread);

  /// The same for the calling thread, whatever it is, and whether there is a server or not.
  static Boolean AboutToBlock();
  static void DoneBlocking();

  /// The life of every thread but the main one.
  void DriveThread(KyCoreThread* thread);

 private:
  template <class Step>
  void runInside(KyCoreThread* thread, Step step);
  void work(KyCoreThread* thread);
  void parkIfIdle(KyCoreThread* thread);
};

/// Builds the server and makes the calling thread its main thread, which is cooperative and has the turn from then on.
/// The first call counts.
KY_API void KyCoreThreadInit();
KY_API void InitPlatformThread();
KY_API Boolean KyCoreThreadRunning();
KY_API KyCoreThreadServer* GetCoreThreadServer();
KY_API void SetCoreThreadServer(KyCoreThreadServer* server);
KY_API KyCoreThreadMutex* GetCoreThreadMasterMutex();

/// The point at which a core thread lets others run, and hears of errors deferred to it. With nobody waiting it costs
/// next to nothing.
///
/// Requires: "current", a core thread.
KY_API void SafeThreadYield();
/// The same for any thread.
KY_API void YieldOutToOthers();

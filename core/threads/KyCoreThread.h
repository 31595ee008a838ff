// A thread under the core thread server: its life, the work that a subclass gives it, and errors sent to it.
//
//   class Saver : public KyCoreThread {
//     void DoIt() override { WriteNextObject(); SafeThreadYield(); }
//     Boolean HasNothingToDo() override { return finished; }
//   };
//
//   Saver saver;
//   saver.Resume();
//   saver.KillThead(false);
#pragma once

#include <atomic>
#include <cstddef>

#include "core/base/KyTypes.h"
#include "core/error/XError.h"

class ExceptionContainer;
class KyCoreThreadEvent;
class ThreadContext;

namespace ky {
struct CoreThreadState;
}

/// The code of the error that ends the thread that it is raised in.
inline constexpr char KILL_THREAD_SIGNAL[] = "KILL_THREAD_SIGNAL";

enum KyCoreThreadType : Long {
  KyCoreThread_Preemptive = 0,
  KyCoreThread_Cooperative = 1,  ///< runs only while it holds the server's one section
};

/// How a thread is made.
struct KyCoreThreadAttr {
  Long reserved = 0;
  Long stackSize = 0;
  float priority = 0;
  float defaultPriority = 0;
  KyCoreThreadType threadType = KyCoreThread_Cooperative;
  ULong flags = 0;
};

/// A thread's name, cut to fit.
typedef char ACharString[64];

/// What a thread may own: destroyed with it.
class KY_API KyCoreThreadResource {
 public:
  KyCoreThreadResource() = default;
  KyCoreThreadResource(const KyCoreThreadResource&) = delete;
  KyCoreThreadResource& operator=(const KyCoreThreadResource&) = delete;
  virtual ~KyCoreThreadResource() = default;
};

/// Starts suspended; the first `Resume` sets it going: `ThreadStart`, then `DoIt` again and again until it is done,
/// then `ThreadStop`. It parks whenever `HasNothingToDo` after a `DoIt`, until it is resumed.
///
/// An error that leaves a hook is dropped, and the thread goes on. KILL_THREAD_SIGNAL ends it instead, and then
/// `ThreadStop` is not called: what must be tidied up at any end belongs behind KillThead().
///
/// Threads:  a subclass's hooks run on the thread, with the exclusive section held; other operations are for any
/// thread.
class KY_API KyCoreThread {
 public:
  /// Null takes the defaults of the server. The first thread made under a server is its main thread, and must be of the
  /// cooperative type.
  ///
  /// Raises:   CORE_OS_ERROR with "str classname", "str methodName", "str doingWhat" and "long theOSError".
  explicit KyCoreThread(const KyCoreThreadAttr* attr = nullptr);
  KyCoreThread(const KyCoreThread&) = delete;
  KyCoreThread& operator=(const KyCoreThread&) = delete;

  // Slots in order: destructor, SetName, GetThreadType, GetResult, IsMainThread, IsSuspended, IsDone, HasNothingToDo,
  // IsParking, IsThreadAlive, IsRunnable, Terminate, Abort, KillThead, ThreadStart, DoIt, DoneIt, ProtectedRun,
  // ThreadStop, StartParking, EndParking, RaiseException, RaiseDeferredException, DeferException,
  // ClearDeferredExceptions, HasDeferredExceptions, GetDeferredException, GetDeferredExceptions, ListenTo,
  // YieldToOthers, YieldTo, Sleep, Suspend, Resume, SaveContext, RestoreContext, SetPlatformSpecific,
  // GetPlatformSpecific, AddThreadResource, RemoveThreadResource.

  /// Stops the thread first, should it still run; but what the subclass added is gone by then, so kill it before. One
  /// that does not stop within ten seconds keeps the memory of the object, which is then lost.
  ///
  /// Requires: the caller is another thread.
  virtual ~KyCoreThread();
  virtual void SetName(const char* name);
  virtual KyCoreThreadType GetThreadType();
  virtual void* GetResult();
  virtual Boolean IsMainThread();
  virtual Boolean IsSuspended();
  virtual Boolean IsDone();
  /// True here as long as the thread lives: a subclass with work tells so.
  virtual Boolean HasNothingToDo();
  virtual Boolean IsParking();
  virtual Boolean IsThreadAlive();
  virtual Boolean IsRunnable();
  /// Ends the thread after its present step.
  virtual void Terminate();
  virtual void Abort();
  /// Raises KILL_THREAD_SIGNAL in the thread, ends it and waits for at most ten seconds. One that does not stop is
  /// fatal with `abort`: "KYThread::KillThead() Could NOT stop my thread.". An error for the caller is not heard before
  /// its next yield, so that a destructor may call this.
  ///
  /// Returns:  whether it stopped.
  virtual Boolean KillThead(Boolean abort);
  virtual void ThreadStart();
  virtual void DoIt();
  /// Follows each `DoIt`. Drops what errors were deferred meanwhile; KILL_THREAD_SIGNAL among them ends the thread.
  virtual void DoneIt();
  /// Runs `DoIt`; KILL_THREAD_SIGNAL ends the thread, other errors are dropped.
  virtual void ProtectedRun();
  virtual void ThreadStop();
  virtual void StartParking();
  virtual void EndParking();
  /// Raises at once in the calling thread, or as soon as another reaches a point where deferred errors are raised; a
  /// suspended thread is resumed for it.
  ///
  /// Returns:  1.
  virtual Long RaiseException(const XError& error);
  /// Raises the first deferred error, if there is one; with `clearOthers` the rest is dropped. For the thread itself.
  virtual void RaiseDeferredException(Boolean clearOthers);
  virtual void DeferException(const XError& error);
  virtual void ClearDeferredExceptions();
  virtual Boolean HasDeferredExceptions();
  /// Owns:     passes the first to the caller; null if there is none.
  virtual ExceptionContainer* GetDeferredException();
  /// Returns:  how many are deferred.
  virtual Long GetDeferredExceptions();
  virtual void ListenTo(KyCoreThreadEvent* event);
  virtual Int64 YieldToOthers();
  virtual void YieldTo(KyCoreThread* target, Boolean comeBack);
  /// A deferred error ends it at once, and is raised. For the thread itself.
  ///
  /// Units:    whole milliseconds are slept; less than one only lets others run.
  virtual void Sleep(Int64 microseconds);
  /// For the thread itself: "thread == GetRunningThread()".
  virtual void Suspend();
  virtual void Resume();
  /// Called on the thread at each hand-over, before it leaves the section and after it is back. They may not raise.
  virtual void SaveContext();
  virtual void RestoreContext();
  virtual void SetPlatformSpecific(void* handle);
  virtual void* GetPlatformSpecific();
  /// Owns:     `resource`, until the thread ends or it is removed.
  virtual void AddThreadResource(KyCoreThreadResource* resource);
  virtual void RemoveThreadResource(KyCoreThreadResource* resource);

  /// Ends the parking of a thread that has got work.
  void MarkToWakeUp() { Resume(); }

  void GetName(ACharString& name);
  /// Returns:  the operating system's number of the thread, 0 once it has ended.
  ULong GetID() const { return iThreadID.load(std::memory_order_acquire); }
  ThreadContext* GetContext() const { return mContext.load(std::memory_order_acquire); }
  /// Returns:  how many `DoIt` have run.
  Long GetWorkCount() const { return iWorkCount.load(std::memory_order_relaxed); }
  const KyCoreThreadAttr& GetAttributes() const { return mAttr; }
  void SetResult(void* result) { iResult.store(result, std::memory_order_release); }

  static void* operator new(std::size_t size);
  /// Keeps the memory of an object whose thread did not stop.
  static void operator delete(void* block);

 private:
  friend class KyCoreThreadServerBase;
  friend class KyCoreThreadServer;
  friend struct ky::CoreThreadState;

  enum Flag : unsigned char { kDone = 1, kNothingToDo = 2, kParking = 4, kAlive = 8, kOutside = 16 };
  enum State : Long { kSuspended = 1, kResumed = 2 };

  bool has(Flag flag) const { return (iFlags.load(std::memory_order_acquire) & flag) != 0; }
  void set(Flag flag) { iFlags.fetch_or(flag, std::memory_order_acq_rel); }
  void clear(Flag flag) { iFlags.fetch_and(static_cast<unsigned char>(~flag), std::memory_order_acq_rel); }
  void dropDeferred();

  ACharString iName = "";
  std::atomic<ThreadContext*> mContext{nullptr};
  KyCoreThreadAttr mAttr;
  std::atomic<Long> iState{kSuspended};
  KyCoreThread* iNext = nullptr;  ///< in the server's list
  std::atomic<void*> iResult{nullptr};
  std::atomic<Long> iWorkCount{0};
  std::atomic<unsigned char> iFlags{kNothingToDo};
  std::atomic<void*> iHandle{nullptr};
  std::atomic<ULong> iThreadID{0};
  ky::CoreThreadState* iOwn = nullptr;  ///< its lock, deferred errors and resources
};

/// The thread that started the server.
class KY_API KyCoreMainThread : public KyCoreThread {
 public:
  KyCoreMainThread();

  Boolean IsMainThread() override;
  void DoIt() override;
};

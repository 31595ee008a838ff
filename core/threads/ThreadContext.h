// One record per operating-system thread: what the library knows about it.
#pragma once

#include <atomic>

#include "core/base/KyTypes.h"
#include "core/error/XError.h"

class KyCoreThread;

/// What a platform keeps beside a thread context.
class KY_API ThreadContextData {
 public:
  virtual ~ThreadContextData();
};

/// How many threads the application lets call the library; set once.
enum ManagementPolicy_t {
  eManagementNotSet = 0,
  eSingleThreaded = 1,
  eMultithreaded = 2,
};

/// Threads:  a context's fields belong to its own thread, but for the core thread object, which others may read.
class KY_API ThreadContext {
 public:
  typedef void (*FatalAssertHandler)(const char* text);

  /// Flags that `Register` takes; a preemptive thread registers with none.
  enum {
    kMainThread = 1,
    kMac2WinSafe = 2,
    kCoopThread = 4,
    kMPsafe = 8,
    kFPUnotNeeded = 16,
    kMadeByFind = 32,
    kMainFlags = kMainThread | kMac2WinSafe | kCoopThread,
    kCoopFlags = kMac2WinSafe | kCoopThread,
  };

  /// Makes the calling thread the main thread and sets the policy. The very first call into the library: the first
  /// `Find` would otherwise settle on a single thread.
  static void Initialize(ManagementPolicy_t policy);

  static ManagementPolicy_t GetManagementPolicy();
  static ThreadContext* GetMainThreadContext();

  /// Makes a context for the calling thread. A second call reports the fault and returns the context that stands.
  ///
  /// Returns:  null under the single-threaded policy, which is reported.
  static ThreadContext* Register();
  static ThreadContext* Register(ULong flags);

  /// Ends the calling thread's context.
  static void Unregister();

  /// The calling thread's context, made now if it has none and automatic creation is on.
  ///
  /// Returns:  null, reported, with automatic creation off. The pointer holds until the thread ends or unregisters.
  static ThreadContext* Find();

  /// Returns:  the context with that thread number, or null, which is reported.
  static ThreadContext* Find(ULong osThreadID);

  /// Ends the context of a thread that was killed.
  static void ThreadTerminated(ThreadContext* context);

  /// On at load: a thread that the library has never seen gets a context at its first call.
  static void SetAutomaticThreadContextCreation(Boolean on);

  /// Ends the contexts of at most ten threads that ended without unregistering.
  static void ThreadContextGC();

  ULong GetThreadID() const { return iThreadID; }

  ThreadContextData* GetThreadContextData() const { return iData; }
  /// Owns:     `data`; disposes what was held before.
  void SetThreadContextData(ThreadContextData* data);

  /// Points the current error at the context's own empty one.
  void ResetXCurrent() { iCurrentError = &iBaseError; }
  /// Borrows:  `error`, until the current error is set again.
  void SetXCurrent(const XError* error) { iCurrentError = error; }
  const XError* GetXCurrent() const { return iCurrentError; }

  /// Kept for the thread's owner; assertions choose their handler by the kind of thread.
  void SetFatalAssertHandler(FatalAssertHandler handler) { iFatalAssertHandler = handler; }
  FatalAssertHandler GetFatalAssertHandler() const { return iFatalAssertHandler; }

  void SetCoreThreadObject(KyCoreThread* thread) { iCoreThread.store(thread, std::memory_order_release); }
  KyCoreThread* GetCoreThreadObject() const { return iCoreThread.load(std::memory_order_acquire); }

  Boolean IsMainThread() const { return has(kMainThread); }
  /// Tells whether the thread may call the toolbox: only if there is one.
  Boolean IsMac2WinSafe() const;
  Boolean IsCoopThread() const { return has(kCoopThread); }
  /// Tells the same as `IsCoopThread`: callers rely on the flag that it has always tested.
  Boolean IsNonZorvexThread() const { return has(kCoopThread); }
  Boolean IsMPsafe() const { return has(kMPsafe); }
  Boolean IsFPUnotNeeded() const { return has(kFPUnotNeeded); }

  ThreadContext(const ThreadContext&) = delete;
  ThreadContext& operator=(const ThreadContext&) = delete;

 private:
  friend class ThreadContextManager;
  ThreadContext(ULong threadID, ULong flags);
  ~ThreadContext();

  Boolean has(ULong flag) const { return (iFlags & flag) != 0; }

  ULong iThreadID = 0;
  ThreadContextData* iData = nullptr;
  XError iBaseError;
  const XError* iCurrentError = &iBaseError;
  FatalAssertHandler iFatalAssertHandler = nullptr;
  ULong iFlags = 0;
  std::atomic<KyCoreThread*> iCoreThread{nullptr};
};

KY_API void RegisterThreadContext();
KY_API void UnregisterThreadContext();

/// Passes `text` to the debug output.
KY_API void ThreadContextLog(const char* text);

/// Logs `text` and stops in a debugger if there is one. All the reporting that contexts have: the error system rests on
/// them.
KY_API void ThreadContextError(const char* text);

KY_API ULong GetCurrentOSThreadID();

// The list of thread contexts, and which one is the calling thread's.
#pragma once

#include <atomic>
#include <vector>

#include "core/threads/ThreadContext.h"
#include "platform/Locks.h"
#include "platform/Threads.h"

/// A hold on the thread that a context belongs to.
class ThreadContextDataNative : public ThreadContextData {
 public:
  ThreadContextDataNative();

  ky::platform::ThreadHandle GetHandle() const { return iHandle; }

 private:
  ky::platform::ThreadHandle iHandle;
};

/// The name by which callers know the platform's class.
using ThreadContextDataWin32 = ThreadContextDataNative;

class ThreadContextManager {
 public:
  /// The one manager; never destroyed, since threads may outlive the static objects.
  static ThreadContextManager& Get();

  void SetMainThreadContext(ManagementPolicy_t policy);

  ManagementPolicy_t GetPolicy() const { return iPolicy.load(std::memory_order_acquire); }
  ThreadContext* GetMainContext() const { return iMain.load(std::memory_order_acquire); }
  Int64 GetStartTime() const { return iStartTime; }

  void SetAutomaticCreation(bool on) { iAutomatic = on; }

  ThreadContext* Register(ULong flags);
  void Unregister();
  ThreadContext* FindSlow();
  ThreadContext* Find(ULong threadID);
  void ThreadTerminated(ThreadContext* context);
  void CollectFinished();

 private:
  struct Entry {
    ThreadContext* context = nullptr;
    bool finished = false;
  };

  ThreadContextManager();

  ThreadContext* add(ULong flags);
  bool unlist(ThreadContext* context);
  void destroy(ThreadContext* context, ULong lowerIDBy);
  static void threadEnds(void*);
  static void lateContextEnds(void*);

  ky::platform::RecursiveLock iLock;
  std::vector<Entry> iContexts;  ///< in the order of registering; under the lock
  std::atomic<ManagementPolicy_t> iPolicy{eManagementNotSet};
  std::atomic<ThreadContext*> iMain{nullptr};
  std::atomic<bool> iAutomatic{true};
  Int64 iStartTime = 0;
};

namespace ky {
/// The calling thread's context, null until it has one.
extern constinit thread_local ThreadContext* tContext __attribute__((tls_model("initial-exec")));
}  // namespace ky

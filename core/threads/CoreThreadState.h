// What a core thread and the server keep out of their callers' sight.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "core/error/ExceptionContainer.h"
#include "core/threads/KyCoreThread.h"
#include "core/threads/KyCoreThreadServer.h"
#include "core/threads/ThreadContextManager.h"
#include "core/threads/TurnLock.h"
#include "platform/Locks.h"
#include "platform/Threads.h"

namespace ky {

struct alignas(64) CoreThreadState {
  static CoreThreadState& of(KyCoreThread* thread) { return *thread->iOwn; }

  /// Tells whether the thread and its context know each other.
  static bool isLinked(const KyCoreThread* thread) {
    const ThreadContext* const context = thread->GetContext();
    return context && context->GetCoreThreadObject() == thread;
  }

  /// Raises the deferred KILL_THREAD_SIGNAL ahead of what else is deferred.
  void raiseKillSignal();

  // State, done bit and deferred errors change under the gate, so that no resumption and no kill is missed.
  std::mutex gate;
  std::condition_variable wake;
  std::deque<std::unique_ptr<ExceptionContainer>> deferred;
  std::vector<KyCoreThreadResource*> resources;
  bool woken = false;  ///< resumed since it last looked for something to do

  std::atomic<Long> deferredCount{0};
  platform::GiveUp killDeferred{false};
  std::atomic<bool> stillborn{false};  ///< ended before it had a context
  platform::NativeThread native;
  std::atomic<int> level{0};  ///< of priority, as the operating system would count
  bool lost = false;          ///< did not stop; to be left alone for good

  // The thread's own.
  bool cooperative = false;
  bool inside = false;  ///< the exclusive section
  int nested = 0;       ///< releases within a release
  int reentered = 0;    ///< acquisitions within an acquisition
  bool killed = false;
};

struct ServerSections {
  platform::RecursiveLock server;

  // Who holds it is the current cooperative thread: a mark of its own would be one more thing to carry at each turn.
  alignas(64) TurnLock turns;
};

/// Returns:  the calling thread's object, or null; makes no context.
inline KyCoreThread* runningCoreThread() { return tContext ? tContext->GetCoreThreadObject() : nullptr; }

bool isKillSignal(const XError& error);

/// A line for who watches threads: the subsystem "CoreThreads" prints.
void traceCoreThreads(const char* format, ...) KY_PRINTF(1, 2);
void registerCoreThreadTrace();

/// Lets others run until `thread` has ended, for at most `microseconds`. Any thread may call.
bool stopsWithin(KyCoreThread* thread, Int64 microseconds);
inline constexpr Int64 kStopPatience = 10'000'000;

/// The server's critical section for a scope.
class ServerSection {
 public:
  explicit ServerSection(KyCoreThreadServerBase* owner, const char* file = __builtin_FILE(),
                         int line = __builtin_LINE())
      : server(owner) {
    server->BeginServerCriticalSection(file, line);
  }
  ServerSection(const ServerSection&) = delete;
  ServerSection& operator=(const ServerSection&) = delete;
  ~ServerSection() { server->EndServerCriticalSection(); }

 private:
  KyCoreThreadServerBase* server;
};

}  // namespace ky

// Worker threads that run beside everything else and are steered by asking for states.
//
//   class Scanner : public PreemptiveThread {
//     void ThreadRunning() override { scanNext(); }
//   };
//   ky::Owned<Scanner> scanner(new Scanner);
//   scanner->Start();
//   scanner->Pause();
#pragma once

#include <atomic>

#include "core/base/AObject.h"
#include "core/threads/KySynch.h"

namespace ky::platform {
class NativeThread;
}

/// A subclass may use values beyond 7 for states of its own.
enum PT_state_t : Long {
  PT_state_idle = 1,       ///< paused
  PT_state_starting = 2,   ///< `ThreadStarting` runs once
  PT_state_running = 3,    ///< `ThreadRunning` runs again and again
  PT_state_stopping = 4,   ///< `ThreadStopping` runs once
  PT_state_exiting = 5,    ///< the thread is about to end
  PT_state_exception = 6,  ///< an error was caught
};

/// An object with a thread of its own, which runs the operation of the state that it is in.
///
/// A subclass that has work to undo overrides `Dispose` and calls the base last: it returns once the thread has ended.
/// An error that an operation raises ends the thread, not the program.
///
/// Invariant: once an end is asked for, by `Stop` or by an error, nothing asked for later puts it off.
/// Threads:  any but the object's own calls `Start`, `AwaitThreadState` and `Dispose`; the object's own alone calls the
///           operations of the states. The others may be called by all.
class KY_API PreemptiveThread : public AObject {
  KY_CLASS(PreemptiveThread, AObject)

 public:
  /// Starts the thread, idle. It calls no virtual operation before the first request, so that the subclass is whole.
  ///
  /// Units:    `priority` counts by its sign only.
  /// Raises:   CORE_OS_ERROR.
  explicit PreemptiveThread(Long priority = 0);

  /// Stops the thread and waits for its end, half a second at least and four at most; a thread that is not done by then
  /// is left running and its object is never freed.
  void Dispose() override;
  AObject* Copy() override;

  // Virtual operations of its own, in slot order; the thread calls them.

  /// Called once, ahead of the first state.
  virtual void ThreadPreprocess();
  /// Called by whoever stops or pauses the running thread: ends what `ThreadRunning` may be waiting for.
  virtual void ThreadAborting();
  /// Waits until another state is asked for.
  virtual void ThreadIdle();
  virtual void ThreadStarting();
  virtual void ThreadRunning();
  virtual void ThreadStopping();
  /// Called for the states of a subclass.
  virtual void HandleThreadState(PT_state_t state);
  virtual void ThreadSleep(ULong milliseconds);

  // Requests.

  void Start();
  void Stop();
  void Pause();

  PT_state_t GetThreadState() const { return iThreadState; }
  static const char* GetThreadStateString(PT_state_t state);

  /// Waits until the thread is in `state`, or passes through it, with nothing else asked for. It looks twice a second,
  /// so the answer may come that much after the event, or after the time is up.
  ///
  /// Returns:  0 for reached, 1 for timed out, -1 if the thread ended otherwise, has ended already, or another wait is
  ///           under way.
  /// Raises:   "PreemptiveThread::AwaitThreadState: iPreemptiveThreadMutex error" with "long lockStatus".
  Long AwaitThreadState(PT_state_t state, ULong milliseconds);

  void SetThreadID(ULong threadID) { iThreadID = threadID; }
  ULong GetMyThreadID() const { return iThreadID; }
  static ULong GetCurOSThreadID();

  /// A thread was left running by `Dispose`; cleared by each new thread.
  static std::atomic<Boolean> cDestructorTimedOut;

 protected:
  ~PreemptiveThread() override;

  /// Asks for a state; refused if it would put off an end that was asked for.
  ///
  /// Returns:  the state that the thread is in.
  PT_state_t SetNewThreadState(PT_state_t state);

 private:
  static void jacket(void* thread);
  void runInJacket();
  void MainThreadLoop();
  void takeNextState();
  void tellAwaiting();
  void runState();
  void advanceTo(PT_state_t state);
  void wake();
  void abortIfRunning(PT_state_t state);
  Long awaitState(PT_state_t state, ULong milliseconds);
  void pollUntilReached(PT_state_t state, ULong milliseconds);
  bool isLost(PT_state_t awaited) const;
  bool hasEndedWithin(ULong milliseconds);
  bool isOwnThread() const;
  bool isHere(const char* misuse) const;
  bool isElsewhere(const char* misuse) const;

  KyMutex iPreemptiveThreadMutex;
  KySema iWakeUp{1};
  std::atomic<const char*> iExceptionText{nullptr};
  std::atomic<ULong> iThreadID{0};
  std::atomic<PT_state_t> iThreadState{PT_state_idle};
  std::atomic<PT_state_t> iNextState{PT_state_idle};
  Long iPriorityHint = 0;
  std::atomic<PT_state_t> iAwaitingState{};
  std::atomic<Boolean> iAwaited{false};  ///< somebody waits, also for a state that was reached meanwhile
  std::atomic<Boolean> iReached{false};
  std::atomic<Boolean> iRequested{false};         ///< the first request was made
  ky::platform::NativeThread* iThread = nullptr;  ///< owned
};

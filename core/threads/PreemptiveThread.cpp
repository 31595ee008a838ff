#include "core/threads/PreemptiveThread.h"

#include <cstdio>
#include <memory>

#include "core/base/Member.h"
#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/OsPrintf.h"
#include "core/threads/Blocking.h"
#include "core/threads/ThreadContext.h"
#include "platform/Clock.h"
#include "platform/Priority.h"
#include "platform/Threads.h"

using namespace ky;

std::atomic<Boolean> PreemptiveThread::cDestructorTimedOut{false};

namespace {

constexpr PT_state_t kFinished{7};
constexpr Int64 kAwaitSlice = 500;
constexpr ULong kEndPatience = 4000;
constexpr ULong kRunningPause = 1000;
constexpr std::size_t kStackSize = 1'048'576;

constexpr Long kReached = 0;
constexpr Long kTimedOut = 1;
constexpr Long kFailed = -1;

/// How far along the way to its end a state brings the thread; 0 off that way.
int stepsToEnd(PT_state_t state) {
  switch (state) {
    case PT_state_stopping:
      return 1;
    case PT_state_exception:
      return 2;
    case PT_state_exiting:
      return 3;
    default:
      return state == kFinished ? 4 : 0;
  }
}

}  // namespace

PreemptiveThread::PreemptiveThread(Long priority) : iPriorityHint(priority) {
  OsPrintf("PreemptiveThread::PreemptiveThread (Constructor) beginning...\n");
  cDestructorTimedOut = false;
  auto thread = std::make_unique<platform::NativeThread>();
  if (const int error = thread->start(jacket, this, kStackSize)) {
    +XError("CORE_OS_ERROR", "str classname", "PreemptiveThread", "str methodName", "PreemptiveThread(priority)",
            "str doingWhat", "calling _beginthread", "long theOSError", Long{error}, 0);
  }
  iThread = thread.release();
}

// Still started only if the constructor of a subclass raised.
PreemptiveThread::~PreemptiveThread() {
  if (iThread->isStarted()) {
    succeeds([&] { Stop(); });
    iThread->join();
  }
  delete iThread;
  OsPrintf("PreemptiveThread::~PreemptiveThread (Destructor) complete!\n");
}

// A thread that does not end goes on using the object, so the object stays.
void PreemptiveThread::Dispose() {
  if (!isElsewhere("PreemptiveThread::~PreemptiveThread: don't initiate from within thread!!")) return;
  OsPrintf("PreemptiveThread::~PreemptiveThread (Destructor) starting...\n");
  if (hasEndedWithin(kEndPatience)) {
    iThread->join();
    AObject::Dispose();
  } else {
    iThread->letGo();
  }
}

bool PreemptiveThread::hasEndedWithin(ULong milliseconds) {
  if (stepsToEnd(iThreadState) == 0) {
    Stop();
  } else {
    OsPrintf("~PreemptiveThread: thread already gone!");
  }
  const Long status = awaitState(kFinished, milliseconds);
  if (status < 0) OsPrintf("~PreemptiveThread: AwaitThreadState some other error!!");
  if (status == kReached) return true;
  cDestructorTimedOut = true;
  if (status > 0) OsPrintf("~PreemptiveThread: AwaitThreadState timed out!!");
  return false;
}

AObject* PreemptiveThread::Copy() {
  DoesNotImplement();
  return nullptr;
}

ULong PreemptiveThread::GetCurOSThreadID() { return platform::currentThreadId(); }

// The system may give the number of a thread that has ended to another.
bool PreemptiveThread::isOwnThread() const { return iThreadState != kFinished && iThreadID == GetCurOSThreadID(); }

bool PreemptiveThread::isHere(const char* misuse) const {
  if (isOwnThread()) return true;
  fatal(misuse);
  return false;
}

bool PreemptiveThread::isElsewhere(const char* misuse) const {
  if (!isOwnThread()) return true;
  fatal(misuse);
  return false;
}

// ---- requests

PT_state_t PreemptiveThread::SetNewThreadState(PT_state_t state) {
  const KyMutexTenure hold(iPreemptiveThreadMutex);
  const int pending = stepsToEnd(iNextState);
  if (pending == 0 || stepsToEnd(state) > pending) iNextState = state;
  return iThreadState;
}

/// The step that a state takes by itself gives way to whatever was asked for meanwhile.
void PreemptiveThread::advanceTo(PT_state_t state) {
  const KyMutexTenure hold(iPreemptiveThreadMutex);
  if (iNextState == iThreadState) iNextState = state;
}

void PreemptiveThread::wake() {
  iRequested = true;
  iWakeUp.Set();
}

void PreemptiveThread::Start() {
  if (!isElsewhere("PreemptiveThread::Start: don't call from within thread!!")) return;
  SetNewThreadState(PT_state_starting);
  wake();
  OsPrintf("PreemptiveThread::Start: starting thread...");
}

void PreemptiveThread::Stop() {
  abortIfRunning(SetNewThreadState(PT_state_stopping));
  wake();
  OsPrintf("PreemptiveThread::Stop: stopping thread...");
}

void PreemptiveThread::Pause() {
  abortIfRunning(SetNewThreadState(PT_state_idle));
  wake();
}

void PreemptiveThread::abortIfRunning(PT_state_t state) {
  if (state == PT_state_running && !isOwnThread()) ThreadAborting();
}

Long PreemptiveThread::AwaitThreadState(PT_state_t state, ULong milliseconds) {
  if (!isElsewhere("PreemptiveThread::AwaitThreadState: don't call from within thread!!")) return kFailed;
  if (iThreadState == kFinished) return kFailed;
  return awaitState(state, milliseconds);
}

Long PreemptiveThread::awaitState(PT_state_t state, ULong milliseconds) {
  wake();
  const Long lockStatus = iPreemptiveThreadMutex.Lock(milliseconds);
  if (lockStatus > 0) return kTimedOut;
  if (lockStatus < 0) {
    +XError("PreemptiveThread::AwaitThreadState: iPreemptiveThreadMutex error", "long lockStatus", lockStatus, 0);
  }
  const bool isFirst = !iAwaited;
  if (isFirst) {
    iAwaited = true;
    iReached = iThreadState == state && iNextState == state;
    iAwaitingState = state;
  }
  iPreemptiveThreadMutex.Unlock();
  if (!isFirst) return kFailed;

  always([&] { pollUntilReached(state, milliseconds); },
         [&] {
           iAwaitingState = PT_state_t{};
           iAwaited = false;
         });
  if (iReached || iThreadState == state) return kReached;
  return isLost(state) ? kFailed : kTimedOut;
}

void PreemptiveThread::pollUntilReached(PT_state_t state, ULong milliseconds) {
  const Int64 start = KyMicroseconds();
  while (!iReached && !isLost(state)) {
    const Blocking blocking;
    platform::sleepFor(kAwaitSlice);
    if (milliseconds != kNoLimit && KyMicroseconds() - start > Int64{milliseconds} * 1000) return;
  }
}

/// A thread in which an error was caught still gets to its end, but nowhere else.
bool PreemptiveThread::isLost(PT_state_t awaited) const {
  return iThreadState == kFinished || (iExceptionText && awaited != kFinished);
}

// ---- the thread's side

void PreemptiveThread::jacket(void* thread) {
  ThreadContext::Register(0);
  static_cast<PreemptiveThread*>(thread)->runInJacket();
  ThreadContext::Unregister();
}

void PreemptiveThread::runInJacket() {
  iThreadID = GetCurOSThreadID();
  if (iPriorityHint != 0) platform::setCurrentThreadPriority(iPriorityHint > 0 ? 1 : -1);
  char className[256] = "";
  guarded(
      [&] {
        while (!iRequested) iWakeUp.Lock(kNoLimit);
        if (!check(member(this, PreemptiveThread), "member(theThread, PreemptiveThread)")) return;
        std::snprintf(className, sizeof className, "%s", ClassName());
        ThreadPreprocess();
        MainThreadLoop();
        OsPrintf("PreemptiveThreadJacket: thread ending w/o exception.");
      },
      [&](XError& caught) {
        const char* const code = caught.GetCode() ? caught.GetCode() : "";
        if (cDestructorTimedOut) {
          OsPrintf("Exception (%s) in thread & destructor timed out!\n", code);
        } else {
          OsPrintf("Exception (%s) in thread of classname (%s), & threadid (%#x)", code, className, iThreadID.load());
        }
      });
  iThreadState = kFinished;
}

void PreemptiveThread::MainThreadLoop() {
  while (iThreadState != PT_state_exiting) {
    if (iNextState != iThreadState) takeNextState();
    if (iThreadState == iAwaitingState) tellAwaiting();
    guarded([&] { runState(); },
            [&](XError& caught) {
              iExceptionText = caught.GetCode() ? InternCode(caught.GetCode()) : "";
              OsPrintf("PreemptiveThread::MainThreadLoop: exception");
              SetNewThreadState(PT_state_exiting);
            });
  }
}

void PreemptiveThread::takeNextState() {
  const KyMutexTenure hold(iPreemptiveThreadMutex);
  OsPrintf("PreemptiveThread::MainThreadLoop: threadState about to change from %s to %s.",
           GetThreadStateString(iThreadState), GetThreadStateString(iNextState));
  iThreadState = iNextState.load();
}

void PreemptiveThread::tellAwaiting() {
  const Long status = iPreemptiveThreadMutex.Lock(kNoLimit);
  if (status < 0) {
    +XError("PreemptiveThread::MainThreadLoop: (iThreadState == iAwaitingState) iPreemptiveThreadMutex error",
            "long status", status, 0);
  }
  if (iThreadState == iAwaitingState) {
    iReached = true;
    iAwaitingState = PT_state_t{};
  }
  iPreemptiveThreadMutex.Unlock();
}

void PreemptiveThread::runState() {
  switch (const PT_state_t state = iThreadState) {
    case PT_state_idle:
      return ThreadIdle();
    case PT_state_starting:
      ThreadStarting();
      return advanceTo(PT_state_running);
    case PT_state_running:
      return ThreadRunning();
    case PT_state_stopping:
      ThreadStopping();
      return advanceTo(PT_state_exiting);
    case PT_state_exiting:
      return;
    case PT_state_exception: {
      const char* const text = iExceptionText;
      OsPrintf("PreemptiveThread::MainThreadLoop: exception = %s", text ? text : "(not set)");
      return advanceTo(PT_state_exiting);
    }
    default:
      return HandleThreadState(state);
  }
}

const char* PreemptiveThread::GetThreadStateString(PT_state_t state) {
  static constexpr const char* names[] = {"PT_state_idle",     "PT_state_starting", "PT_state_running",
                                          "PT_state_stopping", "PT_state_exiting",  "PT_state_exception"};
  const bool isNamed = state >= PT_state_idle && state <= PT_state_exception;
  return isNamed ? names[state - PT_state_idle] : "undefined_state";
}

// ---- what a subclass overrides

void PreemptiveThread::ThreadPreprocess() {}

void PreemptiveThread::ThreadAborting() { OsPrintf("PreemptiveThread::ThreadAborting: aborting a running thread..."); }

// Whoever asks for a state stores it before it signals, so a signal that the reset takes away is seen by the test.
void PreemptiveThread::ThreadIdle() {
  if (!isHere("PreemptiveThread::ThreadIdle: don't call from outside thread!!")) return;
  OsPrintf("PreemptiveThread::ThreadIdle: pausing thread...");
  if (iNextState == PT_state_idle) iWakeUp.Reset();
  while (iNextState == PT_state_idle) iWakeUp.Lock(kNoLimit);
  OsPrintf("PreemptiveThread::ThreadIdle: releasing thread from paused state...");
}

void PreemptiveThread::ThreadStarting() {
  isHere("PreemptiveThread::ThreadStarting: don't call from outside thread!!");
}

void PreemptiveThread::ThreadRunning() {
  if (!isHere("PreemptiveThread::ThreadRunning: don't call from outside thread!!")) return;
  ThreadSleep(kRunningPause);
}

void PreemptiveThread::ThreadStopping() {
  isHere("PreemptiveThread::ThreadStopping: don't call from outside thread!!");
}

void PreemptiveThread::HandleThreadState(PT_state_t) {
  fatal("PreemptiveThread::HandleThreadState: Bad Thread State!");
}

void PreemptiveThread::ThreadSleep(ULong milliseconds) {
  if (!isHere("PreemptiveThread::ThreadSleep: don't call from outside thread!!")) return;
  platform::sleepFor(milliseconds);
}

// Turns of the core threads: creation and end, the exclusive section, yields, sleep and suspension.
#include <algorithm>
#include <chrono>
#include <vector>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/OsPrintf.h"
#include "core/threads/CoreThreadState.h"
#include "core/threads/ThreadContext.h"
#include "platform/Clock.h"

using namespace ky;

namespace {

/// How often a yield to a thread that is not in line lets it come.
constexpr int kTries = 1000;

constexpr char kLinkedText[] = "thread->mContext && thread->mContext->GetCoreThreadObject() == thread";

/// What creator and new thread share, so that the one may give up waiting before the other has begun.
struct Start {
  KyCoreThread* thread = nullptr;
  std::atomic<bool> taken{false};
};

void threadEntry(void* argument) {
  const std::unique_ptr<std::shared_ptr<Start>> start(static_cast<std::shared_ptr<Start>*>(argument));
  if (!(*start)->taken.exchange(true)) GetCoreThreadServer()->DriveThread((*start)->thread);
}

bool comesUp(const KyCoreThread* thread, CoreThreadState& own, std::atomic<bool>& taken) {
  const Int64 until = KyMicroseconds() + kStopPatience;
  int slept = 0;
  bool late = false;
  while (!thread->GetContext() && !own.stillborn && !late) {
    platform::yieldProcessor();
    ++slept;
    if (KyMicroseconds() >= until) late = !taken.exchange(true);
  }
  traceCoreThreads("creating thread slept(0) %d times to wait for creation\n", slept);
  if (own.stillborn) own.native.join();
  if (late) own.native.letGo();
  return thread->GetContext() != nullptr;
}

}  // namespace

void KyCoreThreadServerBase::SetMainThread(KyCoreThread* thread) {
  check(mMainThread == nullptr, "mMainThread == NULL");
  mMainThread.store(thread, std::memory_order_release);
  check(mMainThread != nullptr, "mMainThread != NULL");
}

void KyCoreThreadServerBase::ThreadIsCreated(KyCoreThread* thread) {
  const bool isMain = !GetMainThread();
  {
    const ServerSection section(this);
    RegisterThread(thread);
    guardedReraise([&] { isMain ? adoptMainThread(thread) : startThread(thread); }, [&] { UnregisterThread(thread); });
    check(CoreThreadState::isLinked(thread), "thread->mContext->GetCoreThreadObject() == thread");
    SetPriority(thread, thread->mAttr.priority);
    thread->clear(KyCoreThread::kOutside);
    thread->set(KyCoreThread::kAlive);
    ++iThreadCount;
  }
  if (isMain) SetMainThread(thread);
}

void KyCoreThreadServerBase::adoptMainThread(KyCoreThread* thread) {
  check(thread->mAttr.threadType == KyCoreThread_Cooperative, "thread->mAttr.threadType ==KyCoreThread_Cooperative");
  thread->iState = KyCoreThread::kResumed;
  linkThread(thread, ThreadContext::Find());
  AcquireExclusive(thread);
}

void KyCoreThreadServerBase::linkThread(KyCoreThread* thread, ThreadContext* context) {
  CoreThreadState::of(thread).cooperative = context->IsCoopThread();
  context->SetCoreThreadObject(thread);
  thread->iThreadID.store(context->GetThreadID(), std::memory_order_release);
  thread->mContext.store(context, std::memory_order_release);
}

void KyCoreThreadServerBase::startThread(KyCoreThread* thread) {
  CoreThreadState& own = CoreThreadState::of(thread);
  const auto start = std::make_shared<Start>();
  start->thread = thread;
  auto forThread = std::make_unique<std::shared_ptr<Start>>(start);
  int error = own.native.start(threadEntry, forThread.get(), static_cast<std::size_t>(thread->mAttr.stackSize));
  if (error == 0) {
    forThread.release();
    if (comesUp(thread, own, start->taken)) return;
    constexpr int kNoAnswer = 258;
    error = kNoAnswer;
  }
  +XError("CORE_OS_ERROR", "str classname", "KyCoreThread", "str methodName", "KyCoreThread(attr)", "str doingWhat",
          "calling _beginthreadex", "long theOSError", Long{error}, 0);
}

void KyCoreThreadServerBase::ThreadIsDeleted(KyCoreThread* thread) {
  if (!thread->has(KyCoreThread::kAlive)) return;
  if (runningCoreThread() != thread) return stopFromOutside(thread);
  check(CoreThreadState::isLinked(thread), kLinkedText);
  {
    const ServerSection section(this);
    UnregisterThread(thread);
    CoreThreadState& own = CoreThreadState::of(thread);
    std::vector<KyCoreThreadResource*> resources;
    {
      const std::lock_guard hold(own.gate);
      resources.swap(own.resources);
    }
    for (KyCoreThreadResource* resource : resources) delete resource;
    ClearDeferredExceptions(thread);
    thread->GetContext()->SetCoreThreadObject(nullptr);
    thread->mContext = nullptr;
    thread->iThreadID = 0;
    --iThreadCount;
    // The last touch: whoever waits for the end may delete the object now.
    thread->clear(KyCoreThread::kAlive);
  }
  ThreadContext::Unregister();
}

// No thread can be ended from outside without harm, so one that does not end by itself keeps what it uses for good.
void KyCoreThreadServerBase::stopFromOutside(KyCoreThread* thread) {
  TerminateThread(thread);
  DeferException(thread, XError(KILL_THREAD_SIGNAL));
  ResumeThread(thread);
  if (stopsWithin(thread, kStopPatience)) return;
  OsPrintf("KyCoreThread: thread %ld does not stop; it is left alone with what it uses\n",
           static_cast<long>(thread->GetID()));
  const ServerSection section(this);
  UnregisterThread(thread);
  --iThreadCount;
  thread->clear(KyCoreThread::kAlive);
  CoreThreadState::of(thread).native.letGo();
  CoreThreadState::of(thread).lost = true;
}

void KyCoreThreadServerBase::SwitchIn(KyCoreThread* thread) { CoreThreadState::of(thread).inside = true; }

void KyCoreThreadServerBase::SwitchOut(KyCoreThread* thread) { CoreThreadState::of(thread).inside = false; }

// Where a thread stands is for itself to look at.
void KyCoreThreadServerBase::preconditions(KyCoreThread* thread) {
  if (!check(thread != nullptr, "thread")) return;
  check(CoreThreadState::isLinked(thread), kLinkedText);
  const CoreThreadState& own = CoreThreadState::of(thread);
  if (thread != runningCoreThread() || !own.inside || !own.cooperative) return;
  check(iSections->turns.isHeldBy(thread), "thread == mCurrentCoopThread");
}

void KyCoreThreadServerBase::postconditions(KyCoreThread* thread) {
  preconditions(thread);
  if (!thread || !iSections->turns.isHeldBy(thread)) return;
  check(thread == runningCoreThread(), "mCurrentCoopThread == SERVERNAME_ GetRunningThread()");
}

void KyCoreThreadServerBase::ReleaseExclusive(KyCoreThread* thread) {
  CoreThreadState& own = CoreThreadState::of(thread);
  if (!own.inside) {
    ++own.nested;
  } else if (own.reentered > 0) {
    --own.reentered;
  } else {
    thread->set(KyCoreThread::kOutside);
    beforeTurnEnds(thread);
    if (own.cooperative) iSections->turns.leave();
  }
}

void KyCoreThreadServerBase::AcquireExclusive(KyCoreThread* thread) {
  CoreThreadState& own = CoreThreadState::of(thread);
  if (own.nested > 0) {
    --own.nested;
  } else if (own.inside) {
    ++own.reentered;
  } else {
    awaitResumption(thread);
    // Whoever waits for a turn can run, and counts as such.
    thread->clear(KyCoreThread::kOutside);
    if (own.cooperative) iSections->turns.enter(thread);
    afterTurnBegan(thread);
  }
}

void KyCoreThreadServerBase::beforeTurnEnds(KyCoreThread* thread) {
  thread->SaveContext();
  postconditions(thread);
  SwitchOut(thread);
}

void KyCoreThreadServerBase::afterTurnBegan(KyCoreThread* thread) {
  SwitchIn(thread);
  preconditions(thread);
  thread->RestoreContext();
}

void KyCoreThreadServerBase::YieldTo(KyCoreThread* target, Boolean comeBack) {
  KyCoreThread* const running = runningCoreThread();
  if (running) postconditions(running);
  TurnLock& turns = iSections->turns;
  const bool hasTurn = running && turns.isHeldBy(running);
  if (hasTurn && !target && !comeBack && !turns.isAwaited() && iReturnYield.load(std::memory_order_relaxed) == 0 &&
      running->iState.load(std::memory_order_relaxed) == KyCoreThread::kResumed) {
    return;
  }
  if (iSections->server.isHeldByCaller()) {
    // Others may need the section for their turn, so the yield waits for its end.
    if (target) iPendingYield = target->GetID();
    return;
  }
  const bool passes = hasTurn && !ThreadIsSuspended(running);
  // Who is in line lives; another is looked at first.
  if (passes && !comeBack && target && turns.isInLine(target)) return passTurn(running, target);
  target = aimOfYield(target, comeBack);
  if (target == running) target = nullptr;
  if (passes) return passTurn(running, target);
  if (running) ReleaseExclusive(running);
  letOthersTry(target);
  if (running) AcquireExclusive(running);
}

KyCoreThread* KyCoreThreadServerBase::aimOfYield(KyCoreThread* target, Boolean comeBack) {
  if (!target && !comeBack && iReturnYield.load(std::memory_order_relaxed) == 0) return nullptr;
  const ServerSection section(this);
  if (!target && iReturnYield != 0) target = FindThread(iReturnYield.exchange(0));
  // One that has just ended is nobody to yield to.
  if (target && !target->has(KyCoreThread::kAlive)) target = nullptr;
  if (target && !check(CoreThreadState::isLinked(target),
                       "target->mContext && target->mContext->GetCoreThreadObject() == target")) {
    target = nullptr;
  }
  KyCoreThread* const current = GetCurrentCoopThread();
  if (comeBack && current) iReturnYield = current->GetID();
  return target;
}

void KyCoreThreadServerBase::passTurn(KyCoreThread* thread, KyCoreThread* target) {
  TurnLock& turns = iSections->turns;
  beforeTurnEnds(thread);
  if (target && !turns.isInLine(target)) {
    turns.offer(kTries);
  } else {
    turns.pass(target);
  }
  afterTurnBegan(thread);
}

// For a caller that has no turn to give. The pointer is only compared, for the thread may end meanwhile.
void KyCoreThreadServerBase::letOthersTry(KyCoreThread* target) {
  const int tries = target && target->mAttr.threadType == KyCoreThread_Cooperative ? kTries : 1;
  for (int i = 0; i < tries && (!target || GetCurrentCoopThread() != target); ++i) platform::yieldProcessor();
}

Int64 KyCoreThreadServerBase::YieldToOthers() {
  if (!check(!IsInServerCriticalSection(), "!IsInServerCriticalSection()")) return 0;
  const Int64 started = KyMicroseconds();
  YieldTo(nullptr, false);
  return KyMicroseconds() - started;
}

Int64 KyCoreThreadServerBase::YieldToAllThreads() {
  if (!check(!IsInServerCriticalSection(), "!IsInServerCriticalSection()")) return 0;
  const Int64 started = KyMicroseconds();
  std::vector<ULong> runnable;
  {
    const ServerSection section(this);
    for (KyCoreThread* at = iThreads; at; at = at->iNext) {
      if (at->IsRunnable() && at->mAttr.threadType == KyCoreThread_Cooperative) runnable.push_back(at->GetID());
    }
  }
  for (const ULong threadID : runnable) {
    KyCoreThread* const thread = FindThread(threadID);
    if (thread && thread != GetCurrentCoopThread()) YieldTo(thread, false);
  }
  return KyMicroseconds() - started;
}

Int64 KyCoreThreadServerBase::RunCooperativeThreads(Int64 microseconds, Boolean untilAlone) {
  if (!check(!IsInServerCriticalSection(), "!IsInServerCriticalSection()")) return 0;
  const Int64 until = KyMicroseconds() + microseconds;
  while (KyMicroseconds() < until) {
    if (untilAlone && countNotSuspended() < 2) return 0;
    if (!iSections->turns.isAwaited()) platform::yieldProcessor();
    YieldTo(nullptr, false);
  }
  return KyMicroseconds() - until;
}

void KyCoreThreadServerBase::Join(KyCoreThread* thread) {
  KyCoreThread* const running = runningCoreThread();
  while (!thread->IsDone()) {
    YieldTo(thread, false);
    if (running) CoreThreadState::of(running).raiseKillSignal();
  }
}

void KyCoreThreadServerBase::SleepThread(KyCoreThread* thread, Int64 microseconds) {
  constexpr Int64 kLongestPortion = 2'147'483'647;
  if (thread) ReleaseExclusive(thread);
  Int64 left = static_cast<Int64>(static_cast<double>(microseconds) * 0.001);
  if (left <= 0) platform::yieldProcessor();
  while (left > 0) {
    const Int64 portion = std::min(left, kLongestPortion);
    if (sleepEndsEarly(thread, portion)) break;
    left -= portion;
  }
  if (thread) AcquireExclusive(thread);
}

bool KyCoreThreadServerBase::sleepEndsEarly(KyCoreThread* thread, Int64 milliseconds) {
  if (!thread || platform::isSleepHooked()) {
    platform::sleepFor(milliseconds);
    return thread && thread->HasDeferredExceptions();
  }
  CoreThreadState& own = CoreThreadState::of(thread);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  std::unique_lock hold(own.gate);
  return own.wake.wait_until(hold, deadline, [&] { return !own.deferred.empty(); });
}

void KyCoreThreadServerBase::SuspendThread(KyCoreThread* thread) {
  if (!check(thread != nullptr, "thread")) return;
  if (check(runningCoreThread() == thread, "thread == GetRunningThread()")) return standStill(thread, false);
  const std::lock_guard hold(CoreThreadState::of(thread).gate);
  thread->iState = KyCoreThread::kSuspended;
}

void KyCoreThreadServerBase::SuspendCurrentThread() {
  if (KyCoreThread* const thread = FindThread(GetCurrentOSThreadID())) standStill(thread, false);
}

void KyCoreThreadServerBase::standStill(KyCoreThread* thread, bool unlessWoken) {
  CoreThreadState& own = CoreThreadState::of(thread);
  {
    const std::lock_guard hold(own.gate);
    if (!unlessWoken || !own.woken) thread->iState = KyCoreThread::kSuspended;
  }
  ReleaseExclusive(thread);
  awaitResumption(thread);
  AcquireExclusive(thread);
  thread->RaiseDeferredException(false);
}

// A thread that is to end, or has an error to hear of, stands still no longer.
void KyCoreThreadServerBase::awaitResumption(KyCoreThread* thread) {
  if (thread->iState.load(std::memory_order_acquire) == KyCoreThread::kResumed) return;
  CoreThreadState& own = CoreThreadState::of(thread);
  std::unique_lock hold(own.gate);
  own.wake.wait(hold, [&] {
    return thread->iState == KyCoreThread::kResumed || thread->has(KyCoreThread::kDone) || !own.deferred.empty();
  });
  thread->iState = KyCoreThread::kResumed;
}

void KyCoreThreadServerBase::ResumeThread(KyCoreThread* thread) {
  CoreThreadState& own = CoreThreadState::of(thread);
  const std::lock_guard hold(own.gate);
  thread->iState = KyCoreThread::kResumed;
  own.woken = true;
  own.wake.notify_all();
}

Boolean KyCoreThreadServerBase::ThreadIsSuspended(KyCoreThread* thread) {
  return thread->iState.load(std::memory_order_acquire) == KyCoreThread::kSuspended;
}

void KyCoreThreadServerBase::TerminateThread(KyCoreThread* thread) {
  {
    const std::lock_guard hold(CoreThreadState::of(thread).gate);
    thread->set(KyCoreThread::kDone);
  }
  if (ThreadIsSuspended(thread) || thread->IsParking()) ResumeThread(thread);
}

void KyCoreThreadServerBase::AbortThread(KyCoreThread* thread) { TerminateThread(thread); }

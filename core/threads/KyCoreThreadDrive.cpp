// The life of a core thread, from its start suspended to its end.
#include "core/error/Guarded.h"
#include "core/threads/CoreThreadState.h"
#include "core/threads/ThreadContext.h"

using namespace ky;

namespace {

/// Runs a step of the thread. Its errors end there; KILL_THREAD_SIGNAL ends the thread with them.
template <class Step>
void runStep(KyCoreThread* thread, Step step) {
  guarded(step, [&](XError& caught) {
    if (!isKillSignal(caught)) return;
    CoreThreadState::of(thread).killed = true;
    thread->Terminate();
  });
}

/// Puts the thread back into the section as it entered it, wherever an error left it.
void settle(KyCoreThreadServer* server, KyCoreThread* thread) {
  CoreThreadState& own = CoreThreadState::of(thread);
  own.reentered = 0;
  if (own.inside) return;
  own.nested = 0;
  server->AcquireExclusive(thread);
}

}  // namespace

template <class Step>
void KyCoreThreadServer::runInside(KyCoreThread* thread, Step step) {
  AcquireExclusive(thread);
  runStep(thread, step);
  settle(this, thread);
  ReleaseExclusive(thread);
}

void KyCoreThreadServer::work(KyCoreThread* thread) {
  runInside(thread, [&] {
    thread->ProtectedRun();
    settle(this, thread);
    runStep(thread, [&] { thread->DoneIt(); });
    thread->iWorkCount.fetch_add(1, std::memory_order_relaxed);
  });
}

// What it is resumed for between its look for work and its standing still is not missed.
void KyCoreThreadServer::parkIfIdle(KyCoreThread* thread) {
  runInside(thread, [&] {
    CoreThreadState& own = CoreThreadState::of(thread);
    {
      const std::lock_guard hold(own.gate);
      own.woken = false;
    }
    if (thread->HasNothingToDo()) {
      runStep(thread, [&] {
        thread->StartParking();
        thread->set(KyCoreThread::kParking);
        standStill(thread, true);
      });
      settle(this, thread);
    }
    const bool parked = thread->IsParking();
    thread->clear(KyCoreThread::kParking);
    if (parked) thread->EndParking();
  });
}

void KyCoreThreadServer::DriveThread(KyCoreThread* thread) {
  CoreThreadState& own = CoreThreadState::of(thread);
  ThreadContext* const context =
      ThreadContext::Register(thread->mAttr.threadType == KyCoreThread_Cooperative ? ThreadContext::kCoopFlags : 0);
  if (!context) {
    own.stillborn = true;
    return;
  }
  const ULong threadID = context->GetThreadID();
  ACharString name = "";
  thread->GetName(name);
  traceCoreThreads("thread %d, '%s' reach ThreadEntry\n", static_cast<int>(threadID), name);
  linkThread(thread, context);

  awaitResumption(thread);
  runStep(thread, [&] { thread->RaiseDeferredException(false); });
  if (!own.killed) runInside(thread, [&] { thread->ThreadStart(); });
  while (!own.killed && !thread->IsDone()) {
    work(thread);
    if (!own.killed && !thread->IsDone()) parkIfIdle(thread);
  }
  if (!own.killed) runInside(thread, [&] { thread->ThreadStop(); });
  thread->set(KyCoreThread::kDone);
  thread->GetName(name);
  ThreadIsDeleted(thread);
  traceCoreThreads("thread %d, '%s' returning status %d\n", static_cast<int>(threadID), name, 0);
}

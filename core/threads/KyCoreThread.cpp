#include "core/threads/KyCoreThread.h"

#include <algorithm>
#include <new>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/Printing.h"
#include "core/math/CUtils.h"
#include "core/threads/Blocking.h"
#include "core/threads/CoreThreadState.h"
#include "core/threads/KyCoreThreadMutex.h"
#include "core/threads/ThreadContext.h"

using namespace ky;

namespace {

/// The object whose memory its thread still needs, between its destructor and its operator delete.
constinit thread_local const void* tLost = nullptr;

}  // namespace

KyCoreThread::KyCoreThread(const KyCoreThreadAttr* attr) {
  KyCoreThreadServer* const server = GetCoreThreadServer();
  if (attr) {
    mAttr = *attr;
  } else if (server) {
    server->GetDefaultThreadAttr(&mAttr);
  }
  iOwn = new CoreThreadState;
  guardedReraise(
      [&] {
        if (check(server != nullptr, "GetCoreThreadServer() != NULL")) server->ThreadIsCreated(this);
      },
      [&] { delete iOwn; });
}

KyCoreThread::~KyCoreThread() {
  succeeds([&] {
    if (KyCoreThreadServer* const server = GetCoreThreadServer()) server->ThreadIsDeleted(this);
  });
  if (iOwn->lost) {
    tLost = this;
    return;
  }
  if (runningCoreThread() == this) {
    iOwn->native.letGo();
  } else if (iOwn->native.isStarted()) {
    const Blocking blocking;
    iOwn->native.join();
  }
  for (KyCoreThreadResource* resource : iOwn->resources) delete resource;
  delete iOwn;
}

void* KyCoreThread::operator new(std::size_t size) { return ::operator new(size); }

void KyCoreThread::operator delete(void* block) {
  if (block == tLost) {
    tLost = nullptr;
    return;
  }
  ::operator delete(block);
}

void KyCoreThread::SetName(const char* name) {
  const std::lock_guard hold(iOwn->gate);
  strncpyz(iName, name ? name : "", sizeof iName);
}

void KyCoreThread::GetName(ACharString& name) {
  const std::lock_guard hold(iOwn->gate);
  std::copy(std::begin(iName), std::end(iName), name);
}

KyCoreThreadType KyCoreThread::GetThreadType() { return mAttr.threadType; }

void* KyCoreThread::GetResult() { return iResult.load(std::memory_order_acquire); }

Boolean KyCoreThread::IsMainThread() { return false; }

Boolean KyCoreThread::IsSuspended() { return GetCoreThreadServer()->ThreadIsSuspended(this); }

Boolean KyCoreThread::IsDone() { return has(kDone); }

Boolean KyCoreThread::HasNothingToDo() { return has(kNothingToDo) && has(kAlive); }

Boolean KyCoreThread::IsParking() { return has(kParking); }

Boolean KyCoreThread::IsThreadAlive() { return has(kAlive); }

Boolean KyCoreThread::IsRunnable() { return has(kAlive) && !has(kParking) && !has(kOutside) && !IsSuspended(); }

void KyCoreThread::Terminate() { GetCoreThreadServer()->TerminateThread(this); }

void KyCoreThread::Abort() { GetCoreThreadServer()->AbortThread(this); }

Boolean KyCoreThread::KillThead(Boolean abort) {
  {
    const ServerSection section(GetCoreThreadServer());
    if (!IsThreadAlive()) return true;
    check(CoreThreadState::isLinked(this), "this->mContext && this->mContext->GetCoreThreadObject() == this");
  }
  if (runningCoreThread() == this) RaiseException(XError(KILL_THREAD_SIGNAL));
  // Another that ends without a turn would never take the one that RaiseException offers it.
  DeferException(XError(KILL_THREAD_SIGNAL));
  abort ? Abort() : Terminate();
  const bool stopped = stopsWithin(this, kStopPatience);
  if (abort && stopped) {
    dprintf("KYThread::KillThead()  Thread aborted (not gracefully).  Please save your work and restart");
  } else if (abort) {
    fatal("KYThread::KillThead() Could NOT stop my thread.");
  }
  return stopped;
}

void KyCoreThread::ThreadStart() {}

void KyCoreThread::DoIt() {}

void KyCoreThread::DoneIt() { dropDeferred(); }

void KyCoreThread::ProtectedRun() {
  guarded([&] { DoIt(); },
          [&](XError& caught) {
            if (!isKillSignal(caught)) return;
            iOwn->killed = true;
            Terminate();
          });
}

void KyCoreThread::ThreadStop() {}

void KyCoreThread::StartParking() {}

void KyCoreThread::EndParking() { dropDeferred(); }

void KyCoreThread::ListenTo(KyCoreThreadEvent* event) { event->AddSubscriber(this, nullptr); }

Int64 KyCoreThread::YieldToOthers() { return GetCoreThreadServer()->YieldToOthers(); }

void KyCoreThread::YieldTo(KyCoreThread* target, Boolean comeBack) { GetCoreThreadServer()->YieldTo(target, comeBack); }

void KyCoreThread::Sleep(Int64 microseconds) {
  GetCoreThreadServer()->SleepThread(this, microseconds);
  RaiseDeferredException(false);
}

void KyCoreThread::Suspend() { GetCoreThreadServer()->SuspendThread(this); }

void KyCoreThread::Resume() { GetCoreThreadServer()->ResumeThread(this); }

void KyCoreThread::SaveContext() {}

void KyCoreThread::RestoreContext() {}

void KyCoreThread::SetPlatformSpecific(void* handle) { iHandle.store(handle, std::memory_order_release); }

void* KyCoreThread::GetPlatformSpecific() { return iHandle.load(std::memory_order_acquire); }

void KyCoreThread::AddThreadResource(KyCoreThreadResource* resource) {
  const std::lock_guard hold(iOwn->gate);
  iOwn->resources.push_back(resource);
}

void KyCoreThread::RemoveThreadResource(KyCoreThreadResource* resource) {
  const std::lock_guard hold(iOwn->gate);
  std::erase(iOwn->resources, resource);
}

KyCoreMainThread::KyCoreMainThread() { SetName("MAIN"); }

Boolean KyCoreMainThread::IsMainThread() { return true; }

void KyCoreMainThread::DoIt() {}

// How errors travel from one core thread to another.
#include <algorithm>
#include <cstring>

#include "core/error/Guarded.h"
#include "core/threads/CoreThreadState.h"

using namespace ky;

bool ky::isKillSignal(const XError& error) {
  return error.GetCode() &&
         (std::strcmp(error.GetCode(), KILL_THREAD_SIGNAL) == 0 || error.FindCode(KILL_THREAD_SIGNAL));
}

void CoreThreadState::raiseKillSignal() {
  if (!killDeferred) return;
  std::unique_ptr<ExceptionContainer> kill;
  {
    const std::lock_guard hold(gate);
    const auto found = std::ranges::find_if(
        deferred, [](const auto& container) { return isKillSignal(container->GetTheException()); });
    if (found == deferred.end()) return;
    kill = std::move(*found);
    deferred.erase(found);
    --deferredCount;
    killDeferred = false;
  }
  kill->DoStoredException();
}

Long KyCoreThread::RaiseException(const XError& error) { return GetCoreThreadServer()->RaiseException(this, error); }

void KyCoreThread::RaiseDeferredException(Boolean clearOthers) {
  if (iOwn->deferredCount.load(std::memory_order_acquire) == 0) return;
  const std::unique_ptr<ExceptionContainer> first(GetDeferredException());
  if (clearOthers) ClearDeferredExceptions();
  if (first) first->DoStoredException();
}

void KyCoreThread::DeferException(const XError& error) { GetCoreThreadServer()->DeferException(this, error); }

void KyCoreThread::ClearDeferredExceptions() { GetCoreThreadServer()->ClearDeferredExceptions(this); }

Boolean KyCoreThread::HasDeferredExceptions() { return GetDeferredExceptions() != 0; }

Long KyCoreThread::GetDeferredExceptions() { return iOwn->deferredCount.load(std::memory_order_acquire); }

ExceptionContainer* KyCoreThread::GetDeferredException() {
  const std::lock_guard hold(iOwn->gate);
  if (iOwn->deferred.empty()) return nullptr;
  ExceptionContainer* const first = iOwn->deferred.front().release();
  iOwn->deferred.pop_front();
  --iOwn->deferredCount;
  if (isKillSignal(first->GetTheException())) {
    iOwn->killDeferred = std::ranges::any_of(
        iOwn->deferred, [](const auto& container) { return isKillSignal(container->GetTheException()); });
  }
  return first;
}

void KyCoreThread::dropDeferred() {
  while (const std::unique_ptr<ExceptionContainer> next{GetDeferredException()}) {
    if (isKillSignal(next->GetTheException())) Terminate();
  }
}

Long KyCoreThreadServerBase::RaiseException(KyCoreThread* target, const XError& error) {
  if (!error.GetCode()) return 1;
  if (runningCoreThread() == target) xraisexerror(error);
  DeferException(target, error);
  if (!target->IsThreadAlive()) return 1;
  if (target != GetCurrentCoopThread() && ThreadIsSuspended(target)) ResumeThread(target);
  YieldTo(target, false);
  return 1;
}

void KyCoreThreadServerBase::DeferException(KyCoreThread* target, const XError& error) {
  std::unique_ptr<ExceptionContainer> container(CreateExceptionContainer(error));
  const bool kill = isKillSignal(error);
  {
    const ServerSection section(this);
    CoreThreadState& own = *target->iOwn;
    const std::lock_guard hold(own.gate);
    own.deferred.push_back(std::move(container));
    ++own.deferredCount;
    if (kill) own.killDeferred = true;
    own.wake.notify_all();
  }
  if (kill) platform::interruptWaits(target->iOwn->killDeferred);
}

void KyCoreThreadServerBase::ClearDeferredExceptions(KyCoreThread* target) {
  const std::lock_guard hold(target->iOwn->gate);
  target->iOwn->deferred.clear();
  target->iOwn->deferredCount = 0;
  target->iOwn->killDeferred = false;
}

ExceptionContainer* KyCoreThreadServerBase::CreateExceptionContainer(const XError& error) {
  auto container = std::make_unique<ExceptionContainer>();
  container->StoreExceptionMessage(error);
  return container.release();
}

#include "core/threads/KyCoreThreadServer.h"

#include <algorithm>
#include <cstdarg>
#include <iterator>
#include <mutex>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/OsPrintf.h"
#include "core/error/Subsystems.h"
#include "core/threads/Blocking.h"
#include "core/threads/CoreThreadState.h"
#include "core/threads/KyCoreThreadMutex.h"
#include "platform/Clock.h"

using namespace ky;

namespace {

constinit std::atomic<KyCoreThreadServer*> sServer{nullptr};
int sSubsystem = 0;

/// A band of priorities: those below `end` are of `level`, which reads back as `shown`.
struct Band {
  float end;
  int level;
  float shown;
};
constexpr Band kBands[] = {{20, -2, 10}, {40, -1, 30}, {60, 0, 50}, {80, 1, 70}, {1e30F, 2, 90}};

const Band& bandOf(float priority) {
  for (const Band& band : kBands) {
    if (priority < band.end) return band;
  }
  return kBands[4];
}

}  // namespace

void ky::registerCoreThreadTrace() { sSubsystem = dbgRegSubSystem("CoreThreads"); }

void ky::traceCoreThreads(const char* format, ...) {
  if (sSubsystem == 0 || !dbgTestFlag(sSubsystem, kDbgPrint)) return;
  va_list args;
  va_start(args, format);
  OsVPrintf(format, args);
  va_end(args);
}

KyCoreThreadServerBase::KyCoreThreadServerBase() : iSections(new ServerSections), iMasterMutex(new KyCoreThreadMutex) {}

KyCoreThreadServerBase::~KyCoreThreadServerBase() {
  delete iMasterMutex;
  delete iSections;
}

KyCoreThread* KyCoreThreadServerBase::GetCurrentCoopThread() const { return iSections->turns.heldBy(); }

KyCoreThreadMutex* KyCoreThreadServerBase::GetMasterMutex() { return iMasterMutex; }

KyCoreThread* KyCoreThreadServerBase::GetRunningThread() { return runningCoreThread(); }

KyCoreThread* KyCoreThreadServerBase::GetMainThread() { return mMainThread.load(std::memory_order_acquire); }

KyCoreThread* KyCoreThreadServerBase::FindThread(ULong threadID) {
  const ServerSection section(this);
  KyCoreThread* at = iThreads;
  while (at && at->GetID() != threadID) at = at->iNext;
  return at;
}

void KyCoreThreadServerBase::RegisterThread(KyCoreThread* thread) {
  const ServerSection section(this);
  thread->iNext = iThreads;
  iThreads = thread;
}

void KyCoreThreadServerBase::UnregisterThread(KyCoreThread* thread) {
  const ServerSection section(this);
  KyCoreThread** at = &iThreads;
  while (*at && *at != thread) at = &(*at)->iNext;
  if (*at) *at = thread->iNext;
}

Long KyCoreThreadServerBase::countNotSuspended() {
  const ServerSection section(this);
  Long count = 0;
  for (KyCoreThread* at = iThreads; at; at = at->iNext) count += !ThreadIsSuspended(at);
  return count;
}

Boolean KyCoreThreadServerBase::IsInServerCriticalSection() {
  return iSections->server.isHeldByCaller() && iCriticalSectionDepth > 0;
}

void KyCoreThreadServerBase::BeginServerCriticalSection(const char*, int) {
  if (!GetMainThread()) return;
  if (!iSections->server.isHeldByCaller()) {
    iSections->server.lock();
    iCriticalSectionDepth = 0;
  }
  ++iCriticalSectionDepth;
  mCriticalSectionOwner = GetCurrentOSThreadID();
}

// An end without its begin does nothing: there is none before the first thread.
void KyCoreThreadServerBase::EndServerCriticalSection() {
  if (!IsInServerCriticalSection()) return;
  mCriticalSectionOwner = GetCurrentOSThreadID();
  check(mCriticalSectionOwner != 0, "mCriticalSectionOwner = ::GetCurrentThreadId()");
  if (--iCriticalSectionDepth > 0) return;
  const ULong pending = std::exchange(iPendingYield, 0);
  mCriticalSectionOwner = 0;
  iSections->server.unlock();
  if (pending != 0) YieldTo(FindThread(pending), false);
}

KyCoreThread* KyCoreThreadServerBase::ChooseRunningThread() { return nullptr; }

KyCoreThreadMutex* KyCoreThreadServerBase::CreateSimpleMutex() { return new KyCoreThreadMutex(kRecursiveMutex); }

KyCoreThreadEvent* KyCoreThreadServerBase::CreateSimpleEvent() { return new KyCoreThreadEvent; }

KyCoreThreadCriticalSection* KyCoreThreadServerBase::CreateSimpleCriticalSection() {
  return new KyCoreThreadCriticalSection;
}

void KyCoreThreadServerBase::Shutdown() {}

float KyCoreThreadServerBase::GetPriority(KyCoreThread* thread) {
  const int level = CoreThreadState::of(thread).level.load(std::memory_order_relaxed);
  return kBands[std::clamp(level, kBands[0].level, kBands[4].level) - kBands[0].level].shown;
}

void KyCoreThreadServerBase::SetPriority(KyCoreThread* thread, float priority) {
  const ServerSection section(this);
  thread->mAttr.priority = priority;
  SetWin32Priority(thread, bandOf(priority).level);
}

float KyCoreThreadServerBase::GetDefaultPriority(KyCoreThread* thread) {
  const ServerSection section(this);
  return thread->mAttr.defaultPriority;
}

void KyCoreThreadServerBase::SetDefaultPriority(KyCoreThread* thread, float priority) {
  const ServerSection section(this);
  thread->mAttr.defaultPriority = priority;
}

void KyCoreThreadServerBase::RestoreDefaultPriority(KyCoreThread* thread) {
  SetPriority(thread, GetDefaultPriority(thread));
}

void KyCoreThreadServerBase::SetWin32Priority(KyCoreThread* thread, int level) {
  CoreThreadState::of(thread).level.store(level, std::memory_order_relaxed);
}

Long KyCoreThreadServerBase::GetDefaultValue(GestaltCode_t code) const {
  constexpr Long kUnit = 1;
  constexpr Long kMicrosecondsPerSecond = 1'000'000;
  const Long values[] = {kUnit,
                         kUnit,
                         iDefaults.code2,
                         iDefaults.code3,
                         iDefaults.stackSize,
                         kUnit,
                         kUnit,
                         iDefaults.threadType,
                         0,
                         kMicrosecondsPerSecond,
                         iDefaults.code10,
                         iDefaults.code11,
                         iDefaults.code12,
                         static_cast<Long>(iDefaults.priority)};
  if (!check(code >= 0 && code < static_cast<Long>(std::size(values)), "code >= 0 && code <= 13")) return 0;
  return values[code];
}

void KyCoreThreadServerBase::GetDefaultThreadAttr(KyCoreThreadAttr* attr) const {
  *attr = KyCoreThreadAttr();
  attr->stackSize = GetDefaultValue(4);
  attr->priority = attr->defaultPriority = static_cast<float>(GetDefaultValue(13));
  attr->threadType = static_cast<KyCoreThreadType>(GetDefaultValue(7));
  attr->flags = GetDefaultValue(10) != 0;
}

Boolean KyCoreThreadServer::AboutToBlock(KyCoreThread* thread) {
  if (CoreThreadState::of(thread).cooperative) ReleaseExclusive(thread);
  return 1;
}

void KyCoreThreadServer::DoneBlocking(KyCoreThread* thread) {
  if (CoreThreadState::of(thread).cooperative) AcquireExclusive(thread);
}

Boolean KyCoreThreadServer::AboutToBlock() {
  KyCoreThreadServer* const server = GetCoreThreadServer();
  KyCoreThread* const running = runningCoreThread();
  return server && running ? server->AboutToBlock(running) : 1;
}

void KyCoreThreadServer::DoneBlocking() {
  KyCoreThreadServer* const server = GetCoreThreadServer();
  KyCoreThread* const running = runningCoreThread();
  if (server && running) server->DoneBlocking(running);
}

KyCoreThreadServer* GetCoreThreadServer() { return sServer.load(std::memory_order_acquire); }

void SetCoreThreadServer(KyCoreThreadServer* server) { sServer.store(server, std::memory_order_release); }

Boolean KyCoreThreadRunning() { return GetCoreThreadServer() != nullptr; }

KyCoreThreadMutex* GetCoreThreadMasterMutex() { return GetCoreThreadServer()->GetMasterMutex(); }

// Server and main thread last as long as the process: threads may outlive the static objects.
void InitPlatformThread() {
  registerCoreThreadTrace();
  SetCoreThreadServer(new KyCoreThreadServer);
  new KyCoreMainThread;
  installBlockingHooks({[] { return KyCoreThreadServer::AboutToBlock(); }, [] { KyCoreThreadServer::DoneBlocking(); }});
}

void KyCoreThreadInit() {
  static std::once_flag once;
  std::call_once(once, InitPlatformThread);
}

void SafeThreadYield() {
  KyCoreThread* const current = runningCoreThread();
  if (KyCoreThreadServer* const server = GetCoreThreadServer()) server->YieldTo(nullptr, false);
  if (check(current != nullptr, "current")) current->RaiseDeferredException(false);
}

void YieldOutToOthers() {
  if (KyCoreThreadServer* const server = GetCoreThreadServer()) server->YieldTo(nullptr, false);
  if (KyCoreThread* const current = runningCoreThread()) current->RaiseDeferredException(false);
}

// An error for the caller is not to be heard in the midst of a destructor, from which most threads are ended.
bool ky::stopsWithin(KyCoreThread* thread, Int64 microseconds) {
  constexpr int kQuickTries = 100;
  KyCoreThread* const running = runningCoreThread();
  const Int64 until = KyMicroseconds() + microseconds;
  for (int tries = 0; thread->IsThreadAlive(); ++tries) {
    if (KyMicroseconds() >= until) return false;
    if (running) GetCoreThreadServer()->YieldTo(nullptr, false);
    if (running && tries < kQuickTries) continue;
    const Blocking blocking;
    platform::sleepFor(1);
  }
  return true;
}

#include "core/threads/ThreadContextManager.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "platform/Clock.h"

using ky::tContext;
using ky::platform::Lock;

constinit thread_local ThreadContext* ky::tContext = nullptr;

namespace {

enum class Life : char { unseen, seen, ended };

// A thread's end is watched from its first context on.
constinit thread_local Life tLife = Life::unseen;

// How far a context's thread number drops when it ends, so that a stale pointer shows up as a wrong number.
constexpr ULong kUnregistered = 65536;
constexpr ULong kTerminated = 131072;

constexpr int kMostCollected = 10;

[[maybe_unused]] const ThreadContextManager& sBuiltAtLoad = ThreadContextManager::Get();

void logContext(const char* format, const ThreadContext* context) {
  char text[128];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(text, sizeof text, format, context->GetThreadID(),
                static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(context)));
#pragma GCC diagnostic pop
  ThreadContextLog(text);
}

}  // namespace

ThreadContextDataNative::ThreadContextDataNative() {
  if (!ky::platform::currentThreadHandle(iHandle)) ThreadContextError("DuplicateHandle failed.");
}

ThreadContextManager::ThreadContextManager() : iStartTime(KyMicroseconds()) {}

ThreadContextManager& ThreadContextManager::Get() {
  static auto* const manager = new ThreadContextManager;
  return *manager;
}

void ThreadContextManager::SetMainThreadContext(ManagementPolicy_t policy) {
  const char* fault = nullptr;
  {
    const Lock hold(iLock);
    if (iMain != nullptr) {
      fault = "ThreadContextManager::SetMainThreadContext: The main thread is already registered.";
    } else if (iPolicy != eManagementNotSet && iPolicy != policy) {
      fault = "ThreadContextManager::SetMainThreadContext: The context management policy can not be changed.";
    } else {
      iPolicy = policy;
      if (!tContext) add(0);
      tContext->iFlags |= ThreadContext::kMainFlags;
      iMain = tContext;
    }
  }
  if (fault) ThreadContextError(fault);
}

ThreadContext* ThreadContextManager::Register(ULong flags) {
  {
    const Lock hold(iLock);
    if (!tContext) return add(flags);
  }
  ThreadContextError("ThreadContext::Register(): Thread context already exists.");
  return tContext;
}

void ThreadContextManager::Unregister() {
  ThreadContext* const context = tContext;
  if (!context) return ThreadContextError("ThreadContext::Unregister(): Thread context does not exist.");
  const bool own = context->GetThreadID() == GetCurrentOSThreadID();
  {
    const Lock hold(iLock);
    tContext = nullptr;
    unlist(context);
  }
  if (!own) ThreadContextError("ThreadContextManager::Unregister: Unregistering context is not current thread.");
  destroy(context, kUnregistered);
}

ThreadContext* ThreadContextManager::FindSlow() {
  if (GetPolicy() == eManagementNotSet) SetMainThreadContext(eSingleThreaded);
  if (tContext) return tContext;
  if (iAutomatic) {
    const Lock hold(iLock);
    return add(ThreadContext::kMadeByFind);
  }
  ThreadContextError("ThreadContext::Find(): Thread context not registered.");
  return nullptr;
}

ThreadContext* ThreadContextManager::Find(ULong threadID) {
  {
    const Lock hold(iLock);
    for (const Entry& entry : iContexts) {
      if (entry.context->GetThreadID() == threadID) return entry.context;
    }
  }
  ThreadContextError("ThreadContext::Find(OSThreadID_t): Thread context not registered.");
  return nullptr;
}

void ThreadContextManager::ThreadTerminated(ThreadContext* context) {
  const Lock hold(iLock);
  if (!unlist(context)) return;
  logContext("TCM:threadTerminated, unlisting context x%x at x%lx\n", context);
  logContext("TC:threadTerminated, deleting context x%x at x%lx\n", context);
  destroy(context, kTerminated);
}

void ThreadContextManager::CollectFinished() {
  const Lock hold(iLock);
  int left = kMostCollected;
  const auto collected = [&](const Entry& entry) {
    if (!entry.finished || left == 0) return false;
    --left;
    destroy(entry.context, 0);
    return true;
  };
  std::erase_if(iContexts, collected);
}

// Under the lock. A thread that is past its end gets a context that is on no list and goes with the thread.
ThreadContext* ThreadContextManager::add(ULong flags) {
  const bool late = tLife == Life::ended;
  if (late) ky::platform::atThreadExit(lateContextEnds, nullptr);
  if (tLife == Life::unseen) ky::platform::atThreadExit(threadEnds, nullptr);
  if (!late) tLife = Life::seen;

  tContext = new ThreadContext(GetCurrentOSThreadID(), flags);
  tContext->SetThreadContextData(new ThreadContextDataNative);
  if (!late) iContexts.push_back({tContext});
  return tContext;
}

bool ThreadContextManager::unlist(ThreadContext* context) {
  return std::erase_if(iContexts, [&](const Entry& entry) { return entry.context == context; }) != 0;
}

void ThreadContextManager::destroy(ThreadContext* context, ULong lowerIDBy) {
  if (iMain == context) iMain = nullptr;
  context->iThreadID -= lowerIDBy;
  delete context;
}

void ThreadContextManager::threadEnds(void*) {
  ThreadContextManager& manager = Get();
  const Lock hold(manager.iLock);
  for (Entry& entry : manager.iContexts) {
    if (entry.context == tContext) entry.finished = true;
  }
  tContext = nullptr;
  tLife = Life::ended;
}

void ThreadContextManager::lateContextEnds(void*) {
  if (tContext) Get().destroy(std::exchange(tContext, nullptr), 0);
}

// ---- what a context asks of the manager

void ThreadContext::Initialize(ManagementPolicy_t policy) { ThreadContextManager::Get().SetMainThreadContext(policy); }

ManagementPolicy_t ThreadContext::GetManagementPolicy() { return ThreadContextManager::Get().GetPolicy(); }

ThreadContext* ThreadContext::GetMainThreadContext() { return ThreadContextManager::Get().GetMainContext(); }

ThreadContext* ThreadContext::Register() { return Register(0); }

ThreadContext* ThreadContext::Register(ULong flags) {
  if (GetManagementPolicy() == eMultithreaded) return ThreadContextManager::Get().Register(flags);
  ThreadContextError(
      "ThreadContext::Register(): This application is not initialized as multithreaded. "
      "Use ThreadContext::Initialize(2) first.");
  return nullptr;
}

void ThreadContext::Unregister() {
  if (GetManagementPolicy() == eMultithreaded) return ThreadContextManager::Get().Unregister();
  ThreadContextError("ThreadContext::Unregister(): This application is not initialized as multithreaded.");
}

ThreadContext* ThreadContext::Find() {
  if (ThreadContext* const own = tContext) [[likely]]
    return own;
  return ThreadContextManager::Get().FindSlow();
}

ThreadContext* ThreadContext::Find(ULong osThreadID) { return ThreadContextManager::Get().Find(osThreadID); }

void ThreadContext::ThreadTerminated(ThreadContext* context) {
  if (GetManagementPolicy() == eMultithreaded) return ThreadContextManager::Get().ThreadTerminated(context);
  ThreadContextError("ThreadContext::ThreadTerminated(): This application is not initialized as multithreaded.");
}

void ThreadContext::SetAutomaticThreadContextCreation(Boolean on) {
  ThreadContextManager::Get().SetAutomaticCreation(on != 0);
}

void ThreadContext::ThreadContextGC() { ThreadContextManager::Get().CollectFinished(); }

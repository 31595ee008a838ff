#include "core/threads/ThreadContext.h"

#include "core/mem/Toolbox.h"
#include "core/threads/ThreadContextManager.h"
#include "platform/Debugger.h"
#include "platform/Threads.h"

ThreadContextData::~ThreadContextData() = default;

ThreadContext::ThreadContext(ULong threadID, ULong flags) : iThreadID(threadID), iFlags(flags) {}

ThreadContext::~ThreadContext() { delete iData; }

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
  if (ThreadContext* const own = ky::tContext) [[likely]]
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

void ThreadContext::SetThreadContextData(ThreadContextData* data) {
  if (data == iData) return;
  delete iData;
  iData = data;
}

Boolean ThreadContext::IsMac2WinSafe() const { return has(kMac2WinSafe) && ky::toolbox() != nullptr; }

void RegisterThreadContext() { ThreadContext::Register(); }

void UnregisterThreadContext() { ThreadContext::Unregister(); }

void ThreadContextLog(const char* text) { ky::platform::debugOutput(text); }

void ThreadContextError(const char* text) {
  ThreadContextLog(text);
  ky::platform::debugBreak();
}

ULong GetCurrentOSThreadID() { return ky::platform::currentThreadId(); }

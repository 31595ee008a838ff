#include "core/threads/ThreadContext.h"

#include "core/mem/Toolbox.h"
#include "platform/Debugger.h"
#include "platform/Threads.h"

ThreadContextData::~ThreadContextData() = default;

ThreadContext::ThreadContext(ULong threadID, ULong flags) : iThreadID(threadID), iFlags(flags) {}

ThreadContext::~ThreadContext() { delete iData; }

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

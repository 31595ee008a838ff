#include "core/error/XError.h"

#include <cstdio>
#include <mutex>
#include <string>
#include <unordered_set>

#include "platform/Threads.h"

using namespace ky;

namespace {

int (*raiseLog)(const char* line) = nullptr;
void (*displayHook)(const char* text) = nullptr;

void writeLog(const char* action, const XError& error) {
  if (!raiseLog) return;
  char line[512];
  const int used =
      std::snprintf(line, sizeof line, "[%x] %s ", static_cast<unsigned>(platform::currentThreadId()), action);
  error.ExpandString(line + used, static_cast<int>(sizeof line) - used, nullptr);
  raiseLog(line);
}

[[noreturn]] void throwLogged(const char* action, const XError& error) {
  writeLog(action, error);
  throw XError(error);
}

}  // namespace

ErrorStackObj* XError::newStack(const char* code, const CellList& list) {
  auto* const stack = code ? new ErrorStackObj : nullptr;
  if (!stack) return nullptr;
  stack->AddReference();
  stack->PushLevelAndParmList(code, list);
  return stack;
}

void XError::Push(const char* code, const CellList& list) {
  mCode = code;
  ReallocateErrorStack();
  if (mStack && code) mStack->PushLevelAndParmList(code, list);
}

void XError::Push(const XError& other) {
  if (!other.mStack) return;
  mCode = other.mCode;
  if (mStack) {
    ReallocateErrorStack();
    if (mStack) mStack->PushStack(*other.mStack);
  } else {
    mStack = other.share();
  }
}

void XError::appendList(const CellList& list) {
  ReallocateErrorStack();
  if (mStack) mStack->AppendParmList(list);
}

void XError::SetFileAndLine(const FileLine& place) {
  mFile = place.file;
  mLine = place.line;
}

void XError::ReallocateErrorStack() {
  if (!mStack || !mStack->IsShared()) return;
  ErrorStackObj* const own = cloneStack();
  mStack->RemoveReference();
  mStack = own;
}

ErrorStackObj* XError::cloneStack() const noexcept {
  if (!mStack) return nullptr;
  auto* const clone = new ErrorStackObj(*mStack);
  if (clone) clone->AddReference();
  return clone;
}

Boolean XError::GetParmAsString(char* buffer, int size, int level, const char* name, const char* format) const {
  if (mStack) return mStack->GetParmAsString(buffer, size, level, name, format);
  if (size > 0) *buffer = 0;
  return false;
}

void XError::ExpandString(char* buffer, int size, const char* text, int level) const {
  if (mStack) {
    mStack->ExpandString(buffer, size, text, level);
  } else if (size > 0) {
    *buffer = 0;
  }
}

void operator+(const XError& error) {
  if (error.GetCode()) throwLogged("xraise", error);
}

void ky::logRaise(ErrorStackObj* stack, const char* code) {
  if (!raiseLog) return;
  if (stack) stack->AddReference();
  writeLog("xraise", XError(stack, code, nullptr, 0));
}

void operator+(const XError::FileLine& place, XError& error) {
  error.SetFileAndLine(place);
  if (!error.GetCode()) return;
  error.AppendParms("str fname", place.file, "long fline", place.line, 0);
  throwLogged("xraisefileline", error);
}

void ky::logPropagate(const XError& error) { writeLog("xpropagate", error); }

bool ky::addLevel(XError& caught, const char* code, const CellList& list) {
  if (!caught.GetCode() || !code) return false;
  caught.Push(code, list);
  writeLog("xreraise", caught);
  return true;
}

const char* InternCode(const char* text) {
  // Errors outlive static objects, and so do their codes.
  static auto& lock = *new std::mutex;
  static auto& codes = *new std::unordered_set<std::string>;
  const std::lock_guard held(lock);
  return codes.emplace(text).first->c_str();
}

void xSetLogFunc(int (*log)(const char* line)) { raiseLog = log; }

void xHandleNonXraiseException() {
  if (raiseLog) raiseLog("Caught non-xraise exception!\n");
}

void xInstallDisplay(void (*display)(const char* text)) { displayHook = display; }

void xDisplay(const char* text) {
  if (displayHook && text) displayHook(text);
}

void XDebug(const char*) {}

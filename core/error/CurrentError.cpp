#include "core/error/CurrentError.h"

#include "core/threads/ThreadContext.h"

namespace {

// A thread without a context, which has been reported by then, handles no error.
const XError& current() {
  static const XError none;
  const ThreadContext* const context = ThreadContext::Find();
  return context ? *context->GetXCurrent() : none;
}

}  // namespace

StSetCurrentException::StSetCurrentException(const XError* error) {
  if (ThreadContext* const context = ThreadContext::Find()) {
    mSaved = context->GetXCurrent();
    context->SetXCurrent(error);
  }
}

StSetCurrentException::~StSetCurrentException() {
  if (mSaved) XSetContext(mSaved);
}

xContext_t XNewContext() {
  ThreadContext* const context = ThreadContext::Find();
  if (!context) return nullptr;
  const xContext_t saved = context->GetXCurrent();
  context->ResetXCurrent();
  return saved;
}

void XSetContext(xContext_t context) {
  ThreadContext* const thread = ThreadContext::Find();
  if (thread && context) thread->SetXCurrent(context);
}

int ESFindLevel(const char* code) { return current().FindLevel(code); }

int ESGetTopLevel() { return current().GetTopLevel(); }

Boolean ESStackEmpty() { return current().IsStackEmpty(); }

const char* ESGetCode() { return current().GetCode(); }

const char* ESGetLevelCode(int level) { return current().GetLevelCode(level); }

Boolean ESGetParm(void* out, int level, const char* name) { return current().GetParm(out, level, name); }

Boolean ESGetParmAsString(char* buffer, int size, int level, const char* name, const char* format) {
  return current().GetParmAsString(buffer, size, level, name, format);
}

void ESExpandString(char* buffer, int size, const char* text, int level) {
  current().ExpandString(buffer, size, text, level);
}

void ESExpandString(char* buffer, int size, const char* text) { current().ExpandString(buffer, size, text); }

void ESInit() {}

void ESFinish() {}

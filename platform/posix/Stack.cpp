#include "platform/Stack.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <unwind.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if KY_HAVE_LIBBACKTRACE
#include <backtrace.h>
#endif

namespace ky::platform {

namespace {

struct Capture {
  void** addresses;
  int count;
  int skip;
  int stored = 0;
};

_Unwind_Reason_Code storeFrame(_Unwind_Context* context, void* argument) {
  auto& capture = *static_cast<Capture*>(argument);
  const auto address = _Unwind_GetIP(context);
  if (address == 0 || capture.stored == capture.count) return _URC_END_OF_STACK;
  if (capture.skip > 0) {
    --capture.skip;
  } else {
    capture.addresses[capture.stored++] = reinterpret_cast<void*>(address);
  }
  return _URC_NO_REASON;
}

// Where the arguments begin in a name such as "(anonymous namespace)::Cell::operator()(int) const".
const char* argumentsOf(const char* name) {
  int templateDepth = 0;
  for (const char* p = name; *p; ++p) {
    if (*p == '<') ++templateDepth;
    if (*p == '>') --templateDepth;
    if (*p != '(' || templateDepth > 0) continue;
    constexpr char kAnonymous[] = "(anonymous namespace)";
    if (std::strncmp(p, kAnonymous, sizeof kAnonymous - 1) == 0) {
      p += sizeof kAnonymous - 2;
    } else if (p - name >= 8 && std::strncmp(p - 8, "operator", 8) == 0 && p[1] == ')') {
      ++p;
    } else {
      return p;
    }
  }
  return name + std::strlen(name);
}

void setRoutine(AddressName& name, const char* symbol) {
  int status = 0;
  char* const readable = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
  const char* const text = readable ? readable : symbol;
  const int length = static_cast<int>((readable ? argumentsOf(text) : text + std::strlen(text)) - text);
  std::snprintf(name.routine, sizeof name.routine, "%.*s", length, text);
  std::free(readable);
}

#if KY_HAVE_LIBBACKTRACE
void ignoreFailure(void*, const char*, int) {}

// Debug information also names routines that the dynamic symbol table leaves out.
void nameByDebugInformation(std::uintptr_t address, AddressName& name) {
  static backtrace_state* const state = backtrace_create_state(nullptr, 1, ignoreFailure, nullptr);
  if (!state) return;
  const auto bySymbol = [](void* data, std::uintptr_t pc, const char* symbol, std::uintptr_t start, std::uintptr_t) {
    auto& found = *static_cast<AddressName*>(data);
    if (!symbol) return;
    setRoutine(found, symbol);
    found.routineOffset = pc - start;
  };
  backtrace_syminfo(state, address, bySymbol, ignoreFailure, &name);
}
#endif

}  // namespace

int captureStack(void** addresses, int count, int skip) {
  Capture capture{addresses, count, skip + 2};  // this routine and its caller
  _Unwind_Backtrace(storeFrame, &capture);
  return capture.stored;
}

bool nameAddress(const void* address, AddressName& name) {
  name = {};
  const auto where = reinterpret_cast<std::uintptr_t>(address);
  Dl_info found{};
  if (dladdr(address, &found)) {
    std::snprintf(name.module, sizeof name.module, "%s", found.dli_fname ? found.dli_fname : "");
    name.moduleOffset = where - reinterpret_cast<std::uintptr_t>(found.dli_fbase);
    if (found.dli_sname) {
      setRoutine(name, found.dli_sname);
      name.routineOffset = where - reinterpret_cast<std::uintptr_t>(found.dli_saddr);
    }
  }
#if KY_HAVE_LIBBACKTRACE
  if (name.routine[0] == 0) nameByDebugInformation(where, name);
#endif
  return name.routine[0] != 0 || name.module[0] != 0;
}

}  // namespace ky::platform

#include "platform/Debugger.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace ky::platform {
namespace {

std::atomic<DebugSink> sSink{nullptr};
std::atomic<BreakHook> sBreakHook{nullptr};

bool isTraced() {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> status(std::fopen("/proc/self/status", "r"), std::fclose);
  if (!status) return false;
  constexpr char kTracer[] = "TracerPid:";
  char line[256];
  while (std::fgets(line, sizeof line, status.get())) {
    if (std::strncmp(line, kTracer, sizeof kTracer - 1) == 0) return std::atoi(line + sizeof kTracer - 1) != 0;
  }
  return false;
}

}  // namespace

void debugOutput(const char* text) {
  if (const auto sink = sSink.load()) return sink(text);
  const std::size_t length = std::strlen(text);
  const bool ended = length != 0 && text[length - 1] == '\n';
  std::fprintf(stderr, ended ? "%s" : "%s\n", text);
}

DebugSink setDebugSink(DebugSink sink) { return sSink.exchange(sink); }

void debugBreak() {
  if (const auto hook = sBreakHook.load()) return hook();
  if (isTraced()) std::raise(SIGTRAP);
}

BreakHook setBreakHook(BreakHook hook) { return sBreakHook.exchange(hook); }

}  // namespace ky::platform

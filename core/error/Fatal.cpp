#include "core/error/Fatal.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "core/error/OsPrintf.h"
#include "core/error/Printing.h"
#include "core/threads/UIThreadSafeInstalls.h"

namespace {

// One state for the process, and no lock around it: two threads that fail at once are a fatal inside a fatal.
std::atomic<bool> sInProgress{false};
std::atomic<bool> sHandlerRunning{false};

void logToDebugOutput(const char* tag, const char* text) { OsPrintf("%s: %s\n", tag, text); }

std::atomic<ky::FatalLog> sLog{logToDebugOutput};

[[noreturn]] void shutDown() {
  sLog.load()("Shutdown", "Shutdown in __FtlAbortm");
  std::abort();
}

}  // namespace

unsigned char __FtlAbortm(const char* msg, const char* file, int line) {
  char text[512];
  std::snprintf(text, sizeof text, "%s, file %s, line %d", msg, file, line);
  sLog.load()("FatalAbort", text);
  if (sHandlerRunning) shutDown();

  sInProgress = true;
  unsigned char callerAborts = false;
  if (const auto handler = UIThreadSafeInstalls::GetFtlProc()) {
    sHandlerRunning = true;
    callerAborts = handler(msg, file, line);
    sHandlerRunning = false;
  }
  if (sInProgress) shutDown();
  return callerAborts;
}

unsigned char __FtlAssertFailed(const char* cond, const char* file, int line) {
  constexpr char kCutEnd[] = "...";
  char text[256];
  const int length = std::snprintf(text, sizeof text, "Assertion failed: %s", cond);
  if (length >= int{sizeof text}) std::strcpy(text + sizeof text - sizeof kCutEnd, kCutEnd);
  return __FtlAbortm(text, file, line);
}

FtlProc FtlInstall(FtlProc handler) { return UIThreadSafeInstalls::FtlInstall(handler); }

unsigned char FtlErrProc(const char* msg, const char* file, int line) {
  cprintf("**********\n");
  cprintf("*** FATAL ERROR: \"%s\", file=\"%s\", line=%d\n", msg, file, line);
  cprintf("*** hit <return> to exit\n");
  cprintf("**********\n");
  for (int c = std::getchar(); c != '\n' && c != EOF;) c = std::getchar();
  return false;
}

void FtlClearFatalError() {
  sInProgress = false;
  sHandlerRunning = false;
}

namespace ky {

FatalLog setFatalLog(FatalLog log) { return sLog.exchange(log ? log : logToDebugOutput); }

const char* sourcePath(const char* file) {
  static std::mutex gate;
  static auto* const interned = new std::set<std::string, std::less<>>;

  std::string_view path(file);
  std::size_t start = 0;
  for (const std::string_view folder : {"/core/", "/Murmel/", "/platform/", "/apps/"}) {
    const std::size_t at = path.rfind(folder);
    if (at != path.npos) start = std::max(start, at + 1);
  }
  path.remove_prefix(start);
  const std::size_t dot = path.rfind('.');
  if (dot != path.npos && path.find('/', dot) == path.npos) path = path.substr(0, dot);

  const std::lock_guard hold(gate);
  const auto found = interned->find(path);
  return (found != interned->end() ? found : interned->emplace(path).first)->c_str();
}

void checkFailed(const char* text, const char* file, int line) {
  if (__FtlAssertFailed(text, sourcePath(file), line)) std::abort();
}

void fatal(const char* text, const char* file, int line) {
  if (__FtlAbortm(text, sourcePath(file), line)) std::abort();
}

}  // namespace ky

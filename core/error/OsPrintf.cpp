#include "core/error/OsPrintf.h"

#include <cstdio>
#include <cstring>

#include "platform/Clock.h"
#include "platform/Debugger.h"

int OsPrintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = OsVPrintf(format, args);
  va_end(args);
  return length;
}

int OsVPrintf(const char* format, KyVaList args) {
  char text[4096] = {};
  std::vsnprintf(text, sizeof text, format, args);
  return OsLog(text);
}

int OsLog(const char* text) {
  constexpr int kLongest = 2046;
  char line[kLongest + 64];
  int length = std::snprintf(line, sizeof line - 1, "%12.6f\t%.*s", static_cast<double>(KyMicroseconds()) * 1e-6,
                             kLongest, text);
  if (!std::memchr(line, '\n', static_cast<std::size_t>(length))) {
    line[length++] = '\n';
    line[length] = 0;
  }
  ky::platform::debugOutput(line);
  return length;
}

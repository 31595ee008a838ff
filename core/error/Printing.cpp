#include "core/error/Printing.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

#include "core/error/UnitTestBase.h"
#include "core/threads/UIThreadSafeInstalls.h"
#include "platform/Clock.h"

namespace {

std::string& storedText() {
  static auto* const text = new std::string;
  return *text;
}

/// A quoted text that grows piece by piece and remembers where it may still be cut.
class Quoted {
 public:
  Quoted(char* buffer, std::size_t size) : buffer(buffer), size(size) { put("\"", 1); }

  /// Returns:  false if the piece and the closing quote do not fit.
  bool put(const char* piece, std::size_t length) {
    if (used + length + sizeof "\"" > size) return false;
    std::memcpy(buffer + used, piece, length);
    used += length;
    if (used + sizeof kCutEnd <= size) cutAt = used;
    return true;
  }

  void close() { end("\"", used); }
  void closeCut() { cutAt != 0 ? end(kCutEnd, cutAt) : end("", used); }

 private:
  static constexpr char kCutEnd[] = "...\"";

  void end(const char* text, std::size_t at) {
    if (at + std::strlen(text) < size) std::strcpy(buffer + at, text);
  }

  char* buffer;
  std::size_t size;
  std::size_t used = 0;
  std::size_t cutAt = 0;
};

/// How `byte` reads inside quotes, in `piece`.
///
/// Returns:  its length.
std::size_t quotedByte(char byte, char (&piece)[8]) {
  piece[0] = '\\';
  switch (byte) {
    case '\'':
    case '"':
    case '\\':
      piece[1] = byte;
      return 2;
    case '\n':
      piece[1] = 'n';
      return 2;
    case '\r':
      piece[1] = 'r';
      return 2;
    case '\t':
      piece[1] = 't';
      return 2;
  }
  const auto code = static_cast<unsigned char>(byte);
  if (code < 32) return static_cast<std::size_t>(std::snprintf(piece, sizeof piece, "\\x%02X", code));
  piece[0] = byte;
  return 1;
}

}  // namespace

int dprintf(const char* format, ...) {
  if (const auto print = UIThreadSafeInstalls::dbgGetPrintf()) {
    va_list args;
    va_start(args, format);
    print(format, args);
    va_end(args);
  }
  return 0;
}

DbgPrintfProc dbgInstallPrintf(DbgPrintfProc routine) {
  constexpr std::size_t kPiece = 100;
  const DbgPrintfProc before = UIThreadSafeInstalls::dbgInstallPrintf(routine);
  if (!routine || UIThreadSafeInstalls::dbgGetPrintf() != routine) return before;
  const std::string text = std::exchange(storedText(), {});
  for (std::size_t at = 0; at < text.size(); at += kPiece) dprintf("%.100s", text.c_str() + at);
  return before;
}

void ky::storeDebugText(const char* text) { storedText() += text; }

int cprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = cprintf2(format, args);
  va_end(args);
  return length;
}

int cprintf2(const char* format, KyVaList args) {
  char text[1024] = {};
  std::vsnprintf(text, sizeof text, format, args);
  UnitTestBase::AddComment(text, 1);
  return static_cast<int>(std::strlen(text));
}

char* dbgTime(char* buffer, Long size) {
  const std::tm now = ky::platform::localTime(ky::platform::wallSeconds());
  if (size > 0 && std::strftime(buffer, static_cast<std::size_t>(size), "%H:%M:%S", &now) == 0) buffer[0] = 0;
  return buffer;
}

const char* dbgCstring(const char* text, char* buffer, int size) {
  thread_local char own[256];
  if (!buffer) {
    buffer = own;
    size = sizeof own;
  }
  if (size <= 0) return buffer;
  buffer[0] = 0;
  Quoted quoted(buffer, static_cast<std::size_t>(size));
  for (; *text; ++text) {
    char piece[8];
    if (!quoted.put(piece, quotedByte(*text, piece))) {
      quoted.closeCut();
      return buffer;
    }
  }
  quoted.close();
  return buffer;
}

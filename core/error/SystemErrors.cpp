#include "core/error/SystemErrors.h"

#include <cstdio>

#include "core/error/Fatal.h"
#include "core/error/Guarded.h"
#include "platform/Errors.h"

using namespace ky;

namespace {

const char* diskCode(int err) {
  static const struct {
    unsigned number;
    const char* code;
  } rows[] = {
      {2, "DISK_FILE_NOT_FOUND"},
      {3, "DISK_FILE_NOT_FOUND"},
      {4, "DISK_TOO_MANY_OPEN"},
      {5, "DISK_ACCESS_DENIED"},
      {25, "DISK_SEEK_ERROR"},
      {132, "DISK_SEEK_ERROR"},
      {32, "DISK_SHARING_VIOLATION"},
      {33, "DISK_FILE_LOCKED"},
      {38, "DISK_EOF"},
      {80, "DISK_FILE_ALREADY_EXISTS"},
      {183, "DISK_FILE_ALREADY_EXISTS"},
      {112, "DISK_FULL"},
      {123, "DISK_INVALID_FILENAME_SYNTAX"},
      {145, "DISK_DIR_NOT_EMPTY"},
      {267, "DISK_DIR_NOT_FOUND"},
      {1117, "DISK_IO_ERROR"},
      {0x80030013, "DISK_LOCKED"},
      {0x8003001D, "DISK_WRITE_ERROR"},
      {0x8003001E, "DISK_READ_ERROR"},
  };
  for (const auto& row : rows) {
    if (row.number == static_cast<unsigned>(err)) return row.code;
  }
  return "FILE_OTHER";
}

}  // namespace

void xraiseWinFileError(int err, const char* filename) {
  guarded(
      [&] {
        char text[512];
        platform::errorText(err, text, sizeof text);
        +XError("SYS_ERROR", "int status", err, "str msg", text, 0);
      },
      [&](XError& caught) { xreraise(caught, diskCode(err), "str filename", filename, 0); });
  __builtin_unreachable();
}

void SysNTerrorRaise(unsigned long status) {
  char text[512];
  platform::errorText(static_cast<int>(status), text, sizeof text);
  char code[sizeof text + 16];
  std::snprintf(code, sizeof code, "System error:\n%s", text);
  +XError(InternCode(code));
  __builtin_unreachable();
}

void FatalErrXRaise(const char* msg, const char* file, int line) {
  FtlClearFatalError();
  +XError("FATAL_ERROR", "str msg", msg, "str file", file, "int line", line, 0);
  __builtin_unreachable();
}

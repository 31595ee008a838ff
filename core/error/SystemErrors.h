// Errors of the host system and of the fatal path, raised as the library's own.
#pragma once

#include "core/base/KyTypes.h"

/// Raises the disk code that a file-error number stands for, above a SYS_ERROR level with the number and the host's
/// words for it.
///
/// Units:    `err` is a number of the file-error table, as ky::platform::lastFileError() keeps it.
/// Raises:   DISK_... or FILE_OTHER ("str filename") on SYS_ERROR ("int status", "str msg").
[[noreturn]] KY_API void xraiseWinFileError(int err, const char* filename);

namespace ky {

/// The same for an `err` other than 0, which stands for success.
inline void raiseFileErrorIf(int err, const char* filename) {
  if (err != 0) xraiseWinFileError(err, filename);
}

}  // namespace ky

/// Raises the host's words for a system status, "System error:\n..." being the code itself.
[[noreturn]] KY_API void SysNTerrorRaise(unsigned long status);

/// Leaves the fatal path by an error: a fatal handler that wants the application to go on calls this.
///
/// Raises:   FATAL_ERROR ("str msg", "str file", "int line"), the fatal state being cleared first.
[[noreturn]] KY_API void FatalErrXRaise(const char* msg, const char* file, int line);

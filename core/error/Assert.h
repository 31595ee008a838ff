// Assertions, and the declaration of the fatal path behind them.
#pragma once

#include "core/base/KyTypes.h"

/// The fatal path: logs, calls the installed handler, and ends the process unless the handler cleared the state.
///
/// Returns:  true if the caller is to abort.
KY_API unsigned char __FtlAbortm(const char* msg, const char* file, int line);

/// Words a failed condition and takes the fatal path.
///
/// Returns:  true if the caller is to abort.
KY_API unsigned char __FtlAssertFailed(const char* cond, const char* file, int line);

namespace ky {

/// A compiler's file name as reports show it: from the source folder on, without the extension.
///
/// Returns:  text interned for the life of the process, such as "core/lists/AArray".
KY_API const char* sourcePath(const char* file);

KY_API void checkFailed(const char* text, const char* file, int line);

/// The fatal path for a text that is no condition; aborts if the handler says so, else goes on.
KY_API void fatal(const char* text, const char* file = __builtin_FILE(), int line = __builtin_LINE());

/// Tests an argument or an invariant. `text` is interface: the condition as callers know it, whatever this line spells.
///
/// Returns:  `ok`, so that a caller whose handler goes on can leave safely: `if (!check(...)) return;`.
inline bool check(bool ok, const char* text, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (!ok) [[unlikely]]
    checkFailed(text, file, line);
  return ok;
}

}  // namespace ky

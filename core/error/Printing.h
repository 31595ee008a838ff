// Diagnostic and console output.
#pragma once

#include "core/error/OsPrintf.h"
#include "core/error/UIRoutines.h"

/// Passes format and arguments to the debug printf installed for the calling thread's kind.
///
/// Returns:  0, always.
KY_API int dprintf(const char* format, ...) KY_PRINTF(1, 2);

/// Installs the main thread's debug printf.
///
/// Returns:  the one that it replaced; null, with a warning on the debug output, on any other thread.
KY_API DbgPrintfProc dbgInstallPrintf(DbgPrintfProc routine);

/// Prints on the console, cut at 1,023 characters.
KY_API int cprintf(const char* format, ...) KY_PRINTF(1, 2);
KY_API int cprintf2(const char* format, KyVaList args);

/// The local time of day as "%H:%M:%S".
///
/// Returns:  `buffer`.
KY_API char* dbgTime(char* buffer, Long size);

/// `text` in quotes, with what does not print written as an escape. What does not fit is cut and ends in dots.
///
/// Returns:  `buffer`, or a buffer of 256 bytes of the calling thread's, valid until its next call, for a null one.
KY_API const char* dbgCstring(const char* text, char* buffer, int size);

namespace ky {

/// Keeps text for the debug printf that is installed next, for code that runs before there is one.
///
/// Threads:  start-up only; no lock.
KY_API void storeDebugText(const char* text);

}  // namespace ky

// The fatal path: the end of the road for a broken invariant, and the handler that an application puts in its way.
#pragma once

#include "core/error/Assert.h"
#include "core/error/UIRoutines.h"

/// Installs the main thread's fatal handler.
///
/// A handler that returns without `FtlClearFatalError` ends the process. One that clears and returns false lets the
/// program go on past the failed check, one that clears and returns true makes the check abort. One that is to raise
/// does so by `FatalErrXRaise` (core/error/SystemErrors.h): raising without clearing makes the next fatal end the
/// process.
///
/// Returns:  the handler that it replaced, null for none; null, with a warning, on any thread but the main one.
KY_API FtlProc FtlInstall(FtlProc handler);

/// A handler for consoles: prints the fatal by `cprintf`, waits for a line on the standard input and returns false.
KY_API unsigned char FtlErrProc(const char* msg, const char* file, int line);

/// Takes the fatal state back, so that the process need not end.
KY_API void FtlClearFatalError();

namespace ky {

typedef void (*FatalLog)(const char* tag, const char* text);

/// Where fatals are logged before anything else happens to them; the debug output until one is set, and for null.
///
/// Returns:  the log that was in force.
KY_API FatalLog setFatalLog(FatalLog log);

}  // namespace ky

// Timed lines for the debug output.
#pragma once

#include "core/base/KyTypes.h"

/// Formats, cut at 4,095 characters, and logs the line.
///
/// Returns:  the length of the line that went out.
KY_API int OsPrintf(const char* format, ...) KY_PRINTF(1, 2);
KY_API int OsVPrintf(const char* format, KyVaList args);

/// Writes at most 2,046 characters of `text` behind the seconds since start, closed by a line feed if it holds none.
///
/// Returns:  the length of the line.
KY_API int OsLog(const char* text);
